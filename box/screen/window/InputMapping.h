#pragma once

#include <optional>

#include "box/screen/drawing/Sdl.h"
#include "platform/ui/scene/Press.h"

namespace box {

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
