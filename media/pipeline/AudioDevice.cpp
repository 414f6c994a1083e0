#include "media/pipeline/AudioDevice.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace media {
namespace {

namespace fs = std::filesystem;

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

/// PipeWire uses the same socket path.
bool hasSoundServer() {
  if (!variable("PULSE_SERVER").empty()) return true;
  std::error_code ignored;
  const std::string own = variable("PULSE_RUNTIME_PATH");
  const std::string runtime = variable("XDG_RUNTIME_DIR");
  return (!own.empty() && fs::exists(own + "/native", ignored)) ||
         (!runtime.empty() && fs::exists(runtime + "/pulse/native", ignored)) ||
         fs::exists("/run/pulse/native", ignored);
}

/// Playback devices are named pcmC0D0p and so on. With a configuration file of the user, the
/// default device may be any other.
bool hasAlsaDevice() {
  std::error_code ignored;
  const std::string home = variable("HOME");
  if (!variable("ALSA_CONFIG_PATH").empty() || fs::exists("/etc/asound.conf", ignored) ||
      (!home.empty() && fs::exists(home + "/.asoundrc", ignored)))
    return true;
  fs::directory_iterator devices("/dev/snd", ignored);
  return std::any_of(fs::begin(devices), fs::end(devices), [](const fs::directory_entry& device) {
    const std::string name = device.path().filename();
    return name.starts_with("pcm") && name.ends_with('p');
  });
}

GstRef<GstElement> opened(const char* factory) {
  GstElement* made = gst_element_factory_make(factory, nullptr);
  if (!made) return {};
  GstRef<GstElement> sink(GST_ELEMENT(gst_object_ref_sink(made)));
  if (gst_element_set_state(made, GST_STATE_READY) != GST_STATE_CHANGE_FAILURE) return sink;
  gst_element_set_state(made, GST_STATE_NULL);
  return {};
}

}  // namespace

GstRef<GstElement> AudioDevice::open() {
  GstRef<GstElement> sink;
  if (hasSoundServer()) sink = opened("pulsesink");
  if (!sink && hasAlsaDevice()) sink = opened("alsasink");
  return sink;
}

void AudioDevice::addListener(std::weak_ptr<const DeviceAddedHandler> deviceAdded) {
  const std::lock_guard lock(_mutex);
  std::erase_if(_listeners, [](const auto& listener) { return listener.expired(); });
  _listeners.push_back(std::move(deviceAdded));
}

void AudioDevice::noteDeviceAdded() {
  std::vector<std::weak_ptr<const DeviceAddedHandler>> listeners;
  {
    const std::lock_guard lock(_mutex);
    listeners = _listeners;
  }
  for (const auto& listener : listeners)
    if (const auto deviceAdded = listener.lock()) (*deviceAdded)();
}

bool AudioDevice::isExclusive() { return !hasSoundServer() && hasAlsaDevice(); }

}  // namespace media
