#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace media {

/// Opens the audio output of pipelines. By default the sound server if one is running, otherwise an
/// ALSA device if there is one.
///
/// Sinks are only created for devices that exist: a failed attempt loads libraries, takes tens of
/// milliseconds and may print to stderr.
///
/// Threads: any thread that may block, also several at once. A sound server may respond slowly.
class AudioDevice {
 public:
  /// `interrupted` is called when the sound server corks a stream for another one, `lost` when a
  /// sink fails; both on a pipeline's thread.
  explicit AudioDevice(std::function<void()> interrupted = {}, std::function<void()> lost = {})
      : _interrupted(std::move(interrupted)), _lost(std::move(lost)) {}
  virtual ~AudioDevice() = default;
  /// Returns a sink in the READY state, which has opened the device, or null.
  virtual GstRef<GstElement> open();
  /// Returns whether only one sink at a time can open the device. A sound server mixes; ALSA may
  /// not.
  virtual bool isExclusive();

  using DeviceAddedHandler = std::function<void()>;
  /// Registers a callback for noteDeviceAdded(), which runs on the thread of that call. The caller
  /// owns it.
  void addListener(std::weak_ptr<const DeviceAddedHandler> deviceAdded);
  /// A device may be available now.
  void noteDeviceAdded();
  void noteInterruption() {
    if (_interrupted) _interrupted();
  }
  void noteLoss() {
    if (_lost) _lost();
  }

 private:
  const std::function<void()> _interrupted;
  const std::function<void()> _lost;
  std::mutex _mutex;
  std::vector<std::weak_ptr<const DeviceAddedHandler>> _listeners;
};

}  // namespace media
