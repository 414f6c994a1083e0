#pragma once

#include <optional>
#include <vector>

#include "box/screen/drawing/Sdl.h"
#include "box/screen/window/InputMapping.h"
#include "platform/ui/scene/Press.h"

namespace box {

/// What an event of a window means to the remote.
struct RemoteEvent {
  enum class Kind {
    Input,       ///< a press, a repeat or a swipe
    ButtonDown,  ///< a press whose repeats are not told
    ButtonUp
  };
  Kind kind = Kind::Input;
  platform::InputEvent input;
};

/// Makes presses and swipes out of the events of a window: keyboard, game controllers, mouse and
/// touch.
///
/// Controllers are opened while it lives. SDL looks for new ones every few seconds meanwhile, and
/// reads an opened one every millisecond: so it lives no longer than its window. Threads: the
/// screen's own.
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
