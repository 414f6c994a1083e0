#pragma once

#include <optional>

#include "box/screen/drawing/Sdl.h"
#include "platform/ui/scene/Press.h"

namespace box {

/// Input of a device as input of the remote.
struct RemoteEvent {
  enum class Kind {
    Input,       ///< a press, a repeat or a swipe
    ButtonDown,  ///< a press without events for its repeats
    ButtonUp
  };
  Kind kind = Kind::Input;
  platform::InputEvent input;
};

std::optional<platform::PressType> pressForKey(SDL_Keycode key);
std::optional<platform::PressType> pressForButton(SDL_GameControllerButton button);

/// Detects swipes of a finger or the mouse. Positions are fractions of the window's height, in both
/// directions. Thread: the screen's.
class SwipeTracker {
 public:
  void begin(double x, double y);
  /// Returns the swipe as soon as it is long enough, once per touch.
  std::optional<platform::SwipeDirection> move(double x, double y);
  void end() { _down = false; }

 private:
  bool _down = false;
  double _x = 0;
  double _y = 0;
};

}  // namespace box
