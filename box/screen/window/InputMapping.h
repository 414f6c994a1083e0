#pragma once

#include <optional>

#include "box/screen/drawing/Sdl.h"
#include "platform/ui/scene/Press.h"

namespace box {

/// The press of a key of a keyboard or of a remote that types, or none.
std::optional<platform::PressType> pressForKey(SDL_Keycode key);
/// The press of a game controller's button, or none.
std::optional<platform::PressType> pressForButton(SDL_GameControllerButton button);

/// Makes one swipe out of a finger or mouse that goes down, moves and comes up. Positions are
/// fractions of the window's height, so that a way is as long in both directions. Threads: the
/// screen's own.
class SwipeTracker {
 public:
  void begin(double x, double y);
  /// The swipe, once for each way down and up: as soon as it is long enough.
  std::optional<platform::SwipeDirection> move(double x, double y);
  void end() { _down = false; }

 private:
  bool _down = false;
  double _x = 0;
  double _y = 0;
};

}  // namespace box
