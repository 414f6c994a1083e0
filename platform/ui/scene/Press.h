#pragma once

#include <optional>
#include <string_view>
#include <variant>

namespace platform {

/// The buttons of the remote control. Home is not sent to the application: the host ends the
/// presentation.
enum class PressType : int {
  Up = 0,
  Down = 1,
  Left = 2,
  Right = 3,
  Select = 4,
  Menu = 5,
  PlayPause = 6,
  Home = 7
};

enum class SwipeDirection { Left, Right, Up, Down };

struct InputEvent {
  std::variant<PressType, SwipeDirection> what;
  /// True for the automatic repeats of a button that is held down.
  bool repeated = false;
};

/// "up", "down", "left", "right", "select", "menu", "playpause", "home".
std::optional<PressType> pressTypeFromName(std::string_view name);
std::optional<SwipeDirection> swipeDirectionFromName(std::string_view name);

}  // namespace platform
