#include "box/screen/wayland/WaylandConnection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include <poll.h>

namespace box {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::seconds kAnswerTimeout{2};

std::string environmentText(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

std::unique_ptr<WaylandConnection> WaylandConnection::connect(std::string& reason) {
  wl_display* const display = wl_display_connect(nullptr);
  const std::string name = "WAYLAND_DISPLAY=" + environmentText("WAYLAND_DISPLAY");
  if (!display) {
    reason = "no Wayland compositor (" + name + "): " + std::generic_category().message(errno);
    return nullptr;
  }
  std::unique_ptr<WaylandConnection> connection(new WaylandConnection(display));
  // The second roundtrip is for the properties of the objects that the first one has bound.
  if (connection->_listen() && connection->roundtrip() && connection->roundtrip())
    return connection;
  reason = "the Wayland compositor (" + name + ") does not answer";
  return nullptr;
}

WaylandConnection::~WaylandConnection() = default;

bool WaylandConnection::canShowWindows(std::string& reason) const {
  const char* missing = nullptr;
  if (!_compositor) missing = "wl_compositor version 4";
  if (!_memory) missing = "wl_shm";
  if (!_shell) missing = "xdg_wm_base";
  if (missing) reason = std::string("the Wayland compositor has no ") + missing;
  return !missing;
}

bool WaylandConnection::_listen() {
  static constexpr wl_registry_listener kListener = {
      [](void* self, wl_registry*, std::uint32_t name, const char* interface,
         std::uint32_t version) {
        static_cast<WaylandConnection*>(self)->_bind(name, interface, version);
      },
      [](void* self, wl_registry*, std::uint32_t name) {
        static_cast<WaylandConnection*>(self)->_remove(name);
      }};
  _registry.reset(wl_display_get_registry(_display.get()));
  return _registry && wl_registry_add_listener(_registry.get(), &kListener, this) == 0;
}

void WaylandConnection::_bind(std::uint32_t name, std::string_view interface,
                              std::uint32_t version) {
  static constexpr xdg_wm_base_listener kShellListener = {
      [](void*, xdg_wm_base* shell, std::uint32_t serial) { xdg_wm_base_pong(shell, serial); }};
  if (interface == "wl_compositor" && version >= 4) {
    _compositor = _bound<wl_compositor>(name, wl_compositor_interface, 4);
  } else if (interface == "wl_shm") {
    _memory = _bound<wl_shm>(name, wl_shm_interface, 1);
  } else if (interface == "xdg_wm_base") {
    _shell = _bound<xdg_wm_base>(name, xdg_wm_base_interface, 1);
    if (_shell) xdg_wm_base_add_listener(_shell.get(), &kShellListener, nullptr);
  } else if (interface == "zwp_idle_inhibit_manager_v1") {
    _idleManager =
        _bound<zwp_idle_inhibit_manager_v1>(name, zwp_idle_inhibit_manager_v1_interface, 1);
  } else if (interface == "wl_seat" && !_seat) {
    _seat = std::make_unique<WaylandSeat>(_bound<wl_seat>(name, wl_seat_interface, 1), _input);
    _seatName = name;
  } else if (interface == "wl_output") {
    _bindOutput(name, version);
  }
}

void WaylandConnection::_bindOutput(std::uint32_t name, std::uint32_t version) {
  static constexpr auto listener = [] {
    wl_output_listener events{};
    events.geometry = [](void*, wl_output*, int, int, int, int, int, const char*, const char*,
                         int) {};
    events.mode = [](void* self, wl_output*, std::uint32_t flags, int, int, int millihertz) {
      if ((flags & WL_OUTPUT_MODE_CURRENT) != 0)
        static_cast<Output*>(self)->millihertz = millihertz;
    };
    events.done = [](void*, wl_output*) {};
    events.scale = [](void* self, wl_output*, int scale) {
      static_cast<Output*>(self)->scale = std::max(1, scale);
    };
    return events;
  };
  static constexpr wl_output_listener kListener = listener();
  auto output = std::make_unique<Output>();
  output->name = name;
  output->output = _bound<wl_output>(name, wl_output_interface, std::min(version, 2U));
  if (!output->output) return;
  wl_output_add_listener(output->output.get(), &kListener, output.get());
  _outputs.push_back(std::move(output));
}

void WaylandConnection::_remove(std::uint32_t name) {
  std::erase_if(_outputs, [&](const auto& output) { return output->name == name; });
  if (_seat && _seatName == name) _seat.reset();
}

int WaylandConnection::flush() {
  wl_display_dispatch_pending(_display.get());
  // If the compositor does not read, the rest is sent by a later call.
  wl_display_flush(_display.get());
  return wl_display_get_fd(_display.get());
}

bool WaylandConnection::dispatch() {
  return wl_display_dispatch_pending(_display.get()) >= 0 &&
         _waitForEvents(platform::Duration::zero()) && wl_display_get_error(_display.get()) == 0;
}

bool WaylandConnection::roundtrip() {
  bool done = false;
  static constexpr wl_callback_listener kListener = {
      [](void* flag, wl_callback*, std::uint32_t) { *static_cast<bool*>(flag) = true; }};
  const WaylandPtr<wl_callback> callback(wl_display_sync(_display.get()));
  if (!callback) return false;
  wl_callback_add_listener(callback.get(), &kListener, &done);
  const auto limit = SteadyClock::now() + kAnswerTimeout;
  while (!done) {
    const auto left = limit - SteadyClock::now();
    if (left <= SteadyClock::duration::zero() || !_waitForEvents(left)) return false;
  }
  return true;
}

bool WaylandConnection::_waitForEvents(platform::Duration limit) {
  wl_display* const display = _display.get();
  while (wl_display_prepare_read(display) != 0) {
    if (wl_display_dispatch_pending(display) < 0) return false;
  }
  wl_display_flush(display);
  pollfd ready{wl_display_get_fd(display), POLLIN, 0};
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(limit).count();
  if (poll(&ready, 1, static_cast<int>(milliseconds)) <= 0) {
    wl_display_cancel_read(display);
    return true;
  }
  return wl_display_read_events(display) >= 0 && wl_display_dispatch_pending(display) >= 0;
}

}  // namespace box
