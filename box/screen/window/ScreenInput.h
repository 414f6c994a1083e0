#pragma once

#include <optional>
#include <vector>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/window/InputMapping.h"
#include "platform/ui/scene/Press.h"

namespace box {

/// A window event as input of the remote.
struct RemoteEvent {
  enum class Kind {
    Input,       ///< a press, a repeat or a swipe
    ButtonDown,  ///< a press without events for its repeats
    ButtonUp
  };
  Kind kind = Kind::Input;
  platform::InputEvent input;
};

/// Translates window events of keyboard, game controllers, mouse and touch to presses and swipes.
///
/// Game controllers are open while this object exists. SDL then scans for controllers every few
/// seconds and polls open ones every millisecond, so destroy it with its window. Thread: the
/// screen's.
class ScreenInput {
 public:
  explicit ScreenInput(SDL_Window* window);
  ~ScreenInput();
  ScreenInput(const ScreenInput&) = delete;
  ScreenInput& operator=(const ScreenInput&) = delete;

  std::optional<RemoteEvent> translate(const SDL_Event& event);

 private:
  std::optional<RemoteEvent> _translatePointer(const SDL_Event& event);

  SDL_Window* const _window;
  bool _hasControllers = false;
  std::vector<ControllerPtr> _controllers;
  SwipeTracker _swipe;
};

}  // namespace box
