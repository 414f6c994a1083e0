#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "box/screen/wayland/WaylandPointers.h"
#include "box/screen/window/InputMapping.h"

namespace box {

/// Receives the input of a window.
struct WaylandInput {
  std::function<void(const RemoteEvent& event)> handler;
  double windowHeight = 0;  ///< in units of pointer positions
};

/// The keyboard, mouse and touch screen of a compositor. `input` must outlive this object. Thread:
/// the screen's.
class WaylandSeat {
 public:
  WaylandSeat(WaylandPtr<wl_seat> seat, WaylandInput& input);
  ~WaylandSeat();
  WaylandSeat(const WaylandSeat&) = delete;
  WaylandSeat& operator=(const WaylandSeat&) = delete;

 private:
  void _setCapabilities(std::uint32_t capabilities);
  void _listenToKeyboard();
  void _listenToPointer();
  void _listenToTouch();
  void _setKeymap(int descriptor, std::size_t bytes);
  void _handleKey(std::uint32_t code, bool down);
  void _releaseKey();
  void _begin(wl_fixed_t x, wl_fixed_t y);
  void _move(wl_fixed_t x, wl_fixed_t y);
  void _send(const RemoteEvent& event) const;

  WaylandInput& _input;
  const WaylandPtr<wl_seat> _seat;
  WaylandPtr<wl_keyboard> _keyboard;
  WaylandPtr<xkb_context> _keymaps;
  WaylandPtr<xkb_state> _keys;  // null before the first keymap
  WaylandPtr<wl_pointer> _pointer;
  WaylandPtr<wl_touch> _touch;
  std::optional<platform::PressType> _held;
  wl_fixed_t _x = 0;
  wl_fixed_t _y = 0;
  std::int32_t _finger = 0;
  SwipeTracker _swipe;
};

}  // namespace box
