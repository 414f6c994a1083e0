#include "box/screen/wayland/WaylandSeat.h"

#include <cstring>
#include <utility>

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace box {
namespace {

/// Returns SDL's code for the keys of a remote.
SDL_Keycode keyForSymbol(xkb_keysym_t symbol) {
  switch (symbol) {
    case XKB_KEY_Up:
      return SDLK_UP;
    case XKB_KEY_Down:
      return SDLK_DOWN;
    case XKB_KEY_Left:
      return SDLK_LEFT;
    case XKB_KEY_Right:
      return SDLK_RIGHT;
    case XKB_KEY_Return:
    case XKB_KEY_KP_Enter:
      return SDLK_RETURN;
    case XKB_KEY_Select:
      return SDLK_SELECT;
    case XKB_KEY_Escape:
    case XKB_KEY_BackSpace:
      return SDLK_ESCAPE;
    case XKB_KEY_XF86Back:
      return SDLK_AC_BACK;
    case XKB_KEY_Menu:
      return SDLK_MENU;
    case XKB_KEY_space:
      return SDLK_SPACE;
    case XKB_KEY_XF86AudioPlay:
      return SDLK_AUDIOPLAY;
    case XKB_KEY_Home:
      return SDLK_HOME;
    case XKB_KEY_XF86HomePage:
      return SDLK_AC_HOME;
    default:
      return SDLK_UNKNOWN;
  }
}

WaylandSeat& seatOf(void* data) { return *static_cast<WaylandSeat*>(data); }

}  // namespace

WaylandSeat::WaylandSeat(WaylandPtr<wl_seat> seat, WaylandInput& input)
    : _input(input), _seat(std::move(seat)) {
  static constexpr wl_seat_listener kListener = {
      [](void* self, wl_seat*, std::uint32_t capabilities) {
        seatOf(self)._setCapabilities(capabilities);
      },
      [](void*, wl_seat*, const char*) {}};
  if (_seat) wl_seat_add_listener(_seat.get(), &kListener, this);
}

WaylandSeat::~WaylandSeat() { _releaseKey(); }

void WaylandSeat::_setCapabilities(std::uint32_t capabilities) {
  if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) == 0) {
    _keyboard.reset();
    _releaseKey();
  } else if (!_keyboard) {
    _keyboard.reset(wl_seat_get_keyboard(_seat.get()));
    if (_keyboard) _listenToKeyboard();
  }
  if ((capabilities & WL_SEAT_CAPABILITY_POINTER) == 0) {
    _pointer.reset();
  } else if (!_pointer) {
    _pointer.reset(wl_seat_get_pointer(_seat.get()));
    if (_pointer) _listenToPointer();
  }
  if ((capabilities & WL_SEAT_CAPABILITY_TOUCH) == 0) {
    _touch.reset();
  } else if (!_touch) {
    _touch.reset(wl_seat_get_touch(_seat.get()));
    if (_touch) _listenToTouch();
  }
}

void WaylandSeat::_listenToKeyboard() {
  static constexpr auto listener = [] {
    wl_keyboard_listener events{};
    events.keymap = [](void* self, wl_keyboard*, std::uint32_t format, int descriptor,
                       std::uint32_t bytes) {
      if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1) seatOf(self)._setKeymap(descriptor, bytes);
      close(descriptor);
    };
    events.enter = [](void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {};
    events.leave = [](void* self, wl_keyboard*, std::uint32_t, wl_surface*) {
      seatOf(self)._releaseKey();
    };
    events.key = [](void* self, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t code,
                    std::uint32_t state) {
      seatOf(self)._handleKey(code, state == WL_KEYBOARD_KEY_STATE_PRESSED);
    };
    events.modifiers = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t,
                          std::uint32_t, std::uint32_t) {};
    return events;
  };
  static constexpr wl_keyboard_listener kListener = listener();
  wl_keyboard_add_listener(_keyboard.get(), &kListener, this);
}

void WaylandSeat::_listenToPointer() {
  static constexpr auto listener = [] {
    wl_pointer_listener events{};
    events.enter = [](void* self, wl_pointer* pointer, std::uint32_t serial, wl_surface*,
                      wl_fixed_t x, wl_fixed_t y) {
      wl_pointer_set_cursor(pointer, serial, nullptr, 0, 0);  // hides it
      seatOf(self)._move(x, y);
    };
    events.leave = [](void* self, wl_pointer*, std::uint32_t, wl_surface*) {
      seatOf(self)._swipe.end();
    };
    events.motion = [](void* self, wl_pointer*, std::uint32_t, wl_fixed_t x, wl_fixed_t y) {
      seatOf(self)._move(x, y);
    };
    events.button = [](void* self, wl_pointer*, std::uint32_t, std::uint32_t, std::uint32_t button,
                       std::uint32_t state) {
      WaylandSeat& seat = seatOf(self);
      if (button != BTN_LEFT) return;
      if (state == WL_POINTER_BUTTON_STATE_PRESSED) {
        seat._begin(seat._x, seat._y);
      } else {
        seat._swipe.end();
      }
    };
    events.axis = [](void*, wl_pointer*, std::uint32_t, std::uint32_t, wl_fixed_t) {};
    return events;
  };
  static constexpr wl_pointer_listener kListener = listener();
  wl_pointer_add_listener(_pointer.get(), &kListener, this);
}

void WaylandSeat::_listenToTouch() {
  static constexpr auto listener = [] {
    wl_touch_listener events{};
    events.down = [](void* self, wl_touch*, std::uint32_t, std::uint32_t, wl_surface*,
                     std::int32_t finger, wl_fixed_t x, wl_fixed_t y) {
      seatOf(self)._finger = finger;
      seatOf(self)._begin(x, y);
    };
    events.up = [](void* self, wl_touch*, std::uint32_t, std::uint32_t, std::int32_t) {
      seatOf(self)._swipe.end();
    };
    events.motion = [](void* self, wl_touch*, std::uint32_t, std::int32_t finger, wl_fixed_t x,
                       wl_fixed_t y) {
      if (seatOf(self)._finger == finger) seatOf(self)._move(x, y);
    };
    events.frame = [](void*, wl_touch*) {};
    events.cancel = [](void* self, wl_touch*) { seatOf(self)._swipe.end(); };
    return events;
  };
  static constexpr wl_touch_listener kListener = listener();
  wl_touch_add_listener(_touch.get(), &kListener, this);
}

void WaylandSeat::_setKeymap(int descriptor, std::size_t bytes) {
  struct stat file {};
  if (fstat(descriptor, &file) != 0 || static_cast<std::size_t>(file.st_size) < bytes) return;
  void* const text = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, descriptor, 0);
  if (text == MAP_FAILED) return;
  if (!_keymaps) _keymaps.reset(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
  const auto* begin = static_cast<const char*>(text);
  const WaylandPtr<xkb_keymap> keymap(
      _keymaps ? xkb_keymap_new_from_buffer(_keymaps.get(), begin, strnlen(begin, bytes),
                                            XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS)
               : nullptr);
  munmap(text, bytes);
  // Modifiers are ignored: no key of a remote needs them.
  _keys.reset(keymap ? xkb_state_new(keymap.get()) : nullptr);
}

void WaylandSeat::_handleKey(std::uint32_t code, bool down) {
  constexpr std::uint32_t kFirstXkbCode = 8;
  if (!_keys) return;
  const auto press =
      pressForKey(keyForSymbol(xkb_state_key_get_one_sym(_keys.get(), code + kFirstXkbCode)));
  if (!press) return;
  if (!down) {
    if (_held == press) _releaseKey();
    return;
  }
  _releaseKey();
  _held = press;
  // The box repeats held buttons, as it does for game controllers.
  _send({RemoteEvent::Kind::ButtonDown, {*press}});
}

void WaylandSeat::_releaseKey() {
  const auto held = std::exchange(_held, std::nullopt);
  if (held) _send({RemoteEvent::Kind::ButtonUp, {*held}});
}

void WaylandSeat::_begin(wl_fixed_t x, wl_fixed_t y) {
  if (_input.windowHeight <= 0) return;
  _swipe.begin(wl_fixed_to_double(x) / _input.windowHeight,
               wl_fixed_to_double(y) / _input.windowHeight);
}

void WaylandSeat::_move(wl_fixed_t x, wl_fixed_t y) {
  _x = x;
  _y = y;
  if (_input.windowHeight <= 0) return;
  const auto swipe = _swipe.move(wl_fixed_to_double(x) / _input.windowHeight,
                                 wl_fixed_to_double(y) / _input.windowHeight);
  if (swipe) _send({RemoteEvent::Kind::Input, {*swipe}});
}

void WaylandSeat::_send(const RemoteEvent& event) const {
  if (_input.handler) _input.handler(event);
}

}  // namespace box
