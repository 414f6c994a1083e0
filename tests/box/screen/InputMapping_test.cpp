#include "box/screen/InputMapping.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

using platform::PressType;
using platform::SwipeDirection;

TEST(InputMapping, KeysAreTheButtonsOfTheRemote) {
  const struct {
    SDL_Keycode key;
    std::optional<PressType> press;
  } cases[]{{SDLK_UP, PressType::Up},
            {SDLK_DOWN, PressType::Down},
            {SDLK_LEFT, PressType::Left},
            {SDLK_RIGHT, PressType::Right},
            {SDLK_RETURN, PressType::Select},
            {SDLK_KP_ENTER, PressType::Select},
            {SDLK_ESCAPE, PressType::Menu},
            {SDLK_BACKSPACE, PressType::Menu},
            {SDLK_AC_BACK, PressType::Menu},
            {SDLK_SPACE, PressType::PlayPause},
            {SDLK_AUDIOPLAY, PressType::PlayPause},
            {SDLK_HOME, PressType::Home},
            {SDLK_a, std::nullopt},
            {SDLK_LSHIFT, std::nullopt}};
  for (const auto& the : cases)
    EXPECT_EQ(box::pressForKey(the.key), the.press) << SDL_GetKeyName(the.key);
}

TEST(InputMapping, ControllerButtonsAreTheButtonsOfTheRemote) {
  const struct {
    SDL_GameControllerButton button;
    std::optional<PressType> press;
  } cases[]{{SDL_CONTROLLER_BUTTON_DPAD_UP, PressType::Up},
            {SDL_CONTROLLER_BUTTON_DPAD_DOWN, PressType::Down},
            {SDL_CONTROLLER_BUTTON_DPAD_LEFT, PressType::Left},
            {SDL_CONTROLLER_BUTTON_DPAD_RIGHT, PressType::Right},
            {SDL_CONTROLLER_BUTTON_A, PressType::Select},
            {SDL_CONTROLLER_BUTTON_B, PressType::Menu},
            {SDL_CONTROLLER_BUTTON_START, PressType::PlayPause},
            {SDL_CONTROLLER_BUTTON_GUIDE, PressType::Home},
            {SDL_CONTROLLER_BUTTON_X, std::nullopt},
            {SDL_CONTROLLER_BUTTON_INVALID, std::nullopt}};
  for (const auto& the : cases) EXPECT_EQ(box::pressForButton(the.button), the.press) << the.button;
}

TEST(SwipeTracker, MakesOneSwipeOfOneDrag) {
  struct Point {
    double x, y;
  };
  const struct {
    const char* name;
    std::vector<Point> way;  // down at the first
    std::vector<SwipeDirection> swipes;
  } cases[]{{"right", {{0.5, 0.5}, {0.55, 0.51}, {0.6, 0.5}, {0.9, 0.5}}, {SwipeDirection::Right}},
            {"left", {{0.5, 0.5}, {0.3, 0.4}}, {SwipeDirection::Left}},
            {"up", {{0.5, 0.5}, {0.52, 0.3}}, {SwipeDirection::Up}},
            {"down", {{0.5, 0.5}, {0.5, 0.8}}, {SwipeDirection::Down}},
            {"there and back is the first way",
             {{0.5, 0.5}, {0.7, 0.5}, {0.1, 0.5}},
             {SwipeDirection::Right}},
            {"too short", {{0.5, 0.5}, {0.55, 0.55}}, {}}};
  for (const auto& the : cases) {
    SCOPED_TRACE(the.name);
    box::SwipeTracker tracker;
    std::vector<SwipeDirection> swipes;
    EXPECT_FALSE(tracker.move(0.1, 0.1)) << "nothing is down";
    tracker.begin(the.way[0].x, the.way[0].y);
    for (const Point& point : the.way) {
      if (const auto swipe = tracker.move(point.x, point.y)) swipes.push_back(*swipe);
    }
    tracker.end();
    EXPECT_FALSE(tracker.move(2, 2)) << "it came up";
    EXPECT_EQ(swipes, the.swipes);
  }
}

}  // namespace
