#include "box/screen/window/InputMapping.h"

#include <algorithm>
#include <cmath>

namespace box {

using platform::PressType;
using platform::SwipeDirection;

namespace {

constexpr double kSwipeLength = 0.08;

}  // namespace

std::optional<PressType> pressForKey(SDL_Keycode key) {
  switch (key) {
    case SDLK_UP:
      return PressType::Up;
    case SDLK_DOWN:
      return PressType::Down;
    case SDLK_LEFT:
      return PressType::Left;
    case SDLK_RIGHT:
      return PressType::Right;
    case SDLK_RETURN:
    case SDLK_KP_ENTER:
    case SDLK_SELECT:
      return PressType::Select;
    case SDLK_ESCAPE:
    case SDLK_BACKSPACE:
    case SDLK_AC_BACK:
    case SDLK_MENU:
      return PressType::Menu;
    case SDLK_SPACE:
    case SDLK_AUDIOPLAY:
      return PressType::PlayPause;
    case SDLK_HOME:
    case SDLK_AC_HOME:
      return PressType::Home;
    default:
      return std::nullopt;
  }
}

std::optional<PressType> pressForButton(SDL_GameControllerButton button) {
  switch (button) {
    case SDL_CONTROLLER_BUTTON_DPAD_UP:
      return PressType::Up;
    case SDL_CONTROLLER_BUTTON_DPAD_DOWN:
      return PressType::Down;
    case SDL_CONTROLLER_BUTTON_DPAD_LEFT:
      return PressType::Left;
    case SDL_CONTROLLER_BUTTON_DPAD_RIGHT:
      return PressType::Right;
    case SDL_CONTROLLER_BUTTON_A:
      return PressType::Select;
    case SDL_CONTROLLER_BUTTON_B:
      return PressType::Menu;
    case SDL_CONTROLLER_BUTTON_START:
      return PressType::PlayPause;
    case SDL_CONTROLLER_BUTTON_GUIDE:
      return PressType::Home;
    default:
      return std::nullopt;
  }
}

void SwipeTracker::begin(double x, double y) {
  _down = true;
  _x = x;
  _y = y;
}

std::optional<SwipeDirection> SwipeTracker::move(double x, double y) {
  if (!_down) return std::nullopt;
  const double right = x - _x;
  const double down = y - _y;
  if (std::max(std::abs(right), std::abs(down)) < kSwipeLength) return std::nullopt;
  _down = false;
  if (std::abs(right) >= std::abs(down))
    return right > 0 ? SwipeDirection::Right : SwipeDirection::Left;
  return down > 0 ? SwipeDirection::Down : SwipeDirection::Up;
}

}  // namespace box
