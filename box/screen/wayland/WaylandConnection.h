#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "box/screen/wayland/WaylandPointers.h"
#include "box/screen/wayland/WaylandSeat.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// A connection to a Wayland compositor, and the global objects that the box uses. Thread: the
/// screen's.
class WaylandConnection {
 public:
  struct Output {
    std::uint32_t name = 0;
    WaylandPtr<wl_output> output;
    int scale = 1;
    int millihertz = 0;  ///< refresh rate of the current mode; 0: unknown
  };

  /// Connects to the compositor in WAYLAND_DISPLAY. Returns null and sets `reason` if there is
  /// none, or if it does not answer within 2 s.
  static std::unique_ptr<WaylandConnection> connect(std::string& reason);
  ~WaylandConnection();
  WaylandConnection(const WaylandConnection&) = delete;
  WaylandConnection& operator=(const WaylandConnection&) = delete;

  /// Sets `reason` and returns false if the compositor lacks an interface that a window needs.
  bool canShowWindows(std::string& reason) const;

  wl_compositor* compositor() const { return _compositor.get(); }
  wl_shm* memory() const { return _memory.get(); }
  xdg_wm_base* shell() const { return _shell.get(); }
  /// Whether the compositor has input devices.
  bool hasSeat() const { return _seat != nullptr; }
  /// Null if the compositor cannot keep the display on.
  zwp_idle_inhibit_manager_v1* idleInhibitManager() const { return _idleManager.get(); }
  const std::vector<std::unique_ptr<Output>>& outputs() const { return _outputs; }

  /// Receives input events during flush() and dispatch().
  WaylandInput& input() { return _input; }

  /// Sends requests and handles the events that were received before. Returns the descriptor of the
  /// connection.
  int flush();
  /// Handles events without waiting. Returns false if the connection is lost.
  bool dispatch();
  /// Waits until the compositor has handled all requests, for 2 s at most. Returns false on
  /// failure.
  bool roundtrip();

 private:
  explicit WaylandConnection(wl_display* display) : _display(display) {}
  bool _listen();
  void _bind(std::uint32_t name, std::string_view interface, std::uint32_t version);
  void _bindOutput(std::uint32_t name, std::uint32_t version);
  void _remove(std::uint32_t name);
  bool _waitForEvents(platform::Duration limit);

  template <typename Object>
  WaylandPtr<Object> _bound(std::uint32_t name, const wl_interface& interface,
                            std::uint32_t version) {
    return WaylandPtr<Object>(
        static_cast<Object*>(wl_registry_bind(_registry.get(), name, &interface, version)));
  }

  const WaylandPtr<wl_display> _display;
  WaylandPtr<wl_registry> _registry;
  WaylandPtr<wl_compositor> _compositor;
  WaylandPtr<wl_shm> _memory;
  WaylandPtr<xdg_wm_base> _shell;
  WaylandPtr<zwp_idle_inhibit_manager_v1> _idleManager;
  WaylandInput _input;
  std::unique_ptr<WaylandSeat> _seat;
  std::uint32_t _seatName = 0;
  std::vector<std::unique_ptr<Output>> _outputs;
};

}  // namespace box
