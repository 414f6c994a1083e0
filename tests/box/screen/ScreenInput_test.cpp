#include "box/screen/ScreenInput.h"

#include <utility>

#include <gtest/gtest.h>
#include <stdlib.h>

namespace {

using platform::InputEvent;
using platform::PressType;
using platform::SwipeDirection;

/// A window without a display, and what it makes of its events.
class ScreenInput : public testing::Test {
 protected:
  ScreenInput() {
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    // No window has the focus there.
    SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");
    SDL_InitSubSystem(SDL_INIT_VIDEO);
    window.reset(SDL_CreateWindow("test", 0, 0, 1000, 500, static_cast<Uint32>(SDL_WINDOW_HIDDEN)));
    input.emplace(window.get());
    heard();
  }
  ~ScreenInput() override {
    input.reset();
    window.reset();
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
  }
  /// What has come since the last look.
  std::vector<InputEvent> heard() {
    std::vector<InputEvent> events;
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
      if (const auto one = input->translate(event)) events.push_back(*one);
    }
    return events;
  }

  box::WindowPtr window;
  std::optional<box::ScreenInput> input;
};

TEST_F(ScreenInput, HearsAControllerThatComesAndGoes) {
  const int device = SDL_JoystickAttachVirtual(
      SDL_JOYSTICK_TYPE_GAMECONTROLLER, SDL_CONTROLLER_AXIS_MAX, SDL_CONTROLLER_BUTTON_MAX, 0);
  if (device < 0) GTEST_SKIP() << "no virtual controllers: " << SDL_GetError();
  EXPECT_EQ(heard().size(), 0U);
  SDL_Joystick* const joystick =
      SDL_JoystickFromInstanceID(SDL_JoystickGetDeviceInstanceID(device));
  ASSERT_NE(joystick, nullptr) << "it is opened as soon as it is there";

  const auto press = [&](SDL_GameControllerButton button) {
    for (const Uint8 state : {Uint8{SDL_PRESSED}, Uint8{SDL_RELEASED}}) {
      SDL_JoystickSetVirtualButton(joystick, button, state);
      SDL_JoystickUpdate();
    }
    return heard();
  };
  const auto events = press(SDL_CONTROLLER_BUTTON_A);
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(std::get<PressType>(events[0].what), PressType::Select);
  EXPECT_FALSE(events[0].repeated);
  EXPECT_EQ(press(SDL_CONTROLLER_BUTTON_X).size(), 0U);

  SDL_JoystickDetachVirtual(device);
  EXPECT_EQ(heard().size(), 0U);
}

TEST_F(ScreenInput, MakesOneSwipeOfAFingerAndOfADrag) {
  const auto finger = [&](Uint32 type, float x, float y) {
    SDL_Event event{};
    event.type = type;
    event.tfinger.x = x;
    event.tfinger.y = y;
    SDL_PushEvent(&event);
  };
  // Fractions of a window twice as wide as high: this way is longer across.
  finger(SDL_FINGERDOWN, 0.5F, 0.5F);
  finger(SDL_FINGERMOTION, 0.6F, 0.62F);
  finger(SDL_FINGERMOTION, 0.9F, 0.6F);
  finger(SDL_FINGERUP, 0.9F, 0.6F);
  finger(SDL_FINGERMOTION, 0.1F, 0.6F);
  auto events = heard();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(std::get<SwipeDirection>(events[0].what), SwipeDirection::Right);

  const auto mouse = [&](Uint32 type, Uint8 button, int x, int y) {
    SDL_Event event{};
    event.type = type;
    if (type == SDL_MOUSEMOTION) {
      event.motion.x = x;
      event.motion.y = y;
    } else {
      event.button.button = button;
      event.button.x = x;
      event.button.y = y;
    }
    SDL_PushEvent(&event);
  };
  mouse(SDL_MOUSEBUTTONDOWN, SDL_BUTTON_RIGHT, 500, 250);
  mouse(SDL_MOUSEMOTION, 0, 500, 450);
  EXPECT_EQ(heard().size(), 0U);
  mouse(SDL_MOUSEBUTTONDOWN, SDL_BUTTON_LEFT, 500, 250);
  mouse(SDL_MOUSEMOTION, 0, 500, 150);
  mouse(SDL_MOUSEBUTTONUP, SDL_BUTTON_LEFT, 500, 150);
  events = heard();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(std::get<SwipeDirection>(events[0].what), SwipeDirection::Up);
}

TEST_F(ScreenInput, TellsAKeyThatIsHeld) {
  for (const Uint8 repeat : {Uint8{0}, Uint8{1}}) {
    SDL_Event event{};
    event.type = SDL_KEYDOWN;
    event.key.keysym.sym = SDLK_RIGHT;
    event.key.repeat = repeat;
    SDL_PushEvent(&event);
  }
  const auto events = heard();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_FALSE(events[0].repeated);
  EXPECT_TRUE(events[1].repeated);
}

}  // namespace
