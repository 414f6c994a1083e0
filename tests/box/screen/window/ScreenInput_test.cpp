#include "box/screen/window/ScreenInput.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "box/screen/window/SdlWindow.h"

namespace {

using platform::PressType;
using platform::SwipeDirection;

/// A headless window and its input.
class ScreenInput : public testing::Test {
 protected:
  ScreenInput() {
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    // The dummy driver has no focused window.
    SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");
    SDL_InitSubSystem(SDL_INIT_VIDEO);
    std::string reason;
    window = box::SdlWindow::open({}, {1000, 500}, true, reason);
    input.emplace(*window);
    receivedInput();
  }
  ~ScreenInput() override {
    input.reset();
    window.reset();
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
  }
  /// Returns the input since the last call: "up" for a press, "up.." for a repeat, "+up" and "-up"
  /// for a button going down and up, "~up" for a swipe.
  std::string receivedInput() {
    constexpr const char* kPresses[] = {"up",     "down", "left",      "right",
                                        "select", "menu", "playpause", "home"};
    constexpr const char* kSwipes[] = {"~left", "~right", "~up", "~down"};
    constexpr const char* kKinds[] = {"", "+", "-"};
    std::string events;
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
      const auto one = input->translate(event);
      if (!one) continue;
      if (!events.empty()) events += ' ';
      events += kKinds[static_cast<int>(one->kind)];
      if (const auto* press = std::get_if<PressType>(&one->input.what)) {
        events += kPresses[static_cast<int>(*press)];
      } else {
        events += kSwipes[static_cast<int>(std::get<SwipeDirection>(one->input.what))];
      }
      if (one->input.repeated) events += "..";
    }
    return events;
  }
  void key(SDL_Keycode code, Uint8 repeat = 0) {
    SDL_Event event{};
    event.type = SDL_KEYDOWN;
    event.key.keysym.sym = code;
    event.key.repeat = repeat;
    SDL_PushEvent(&event);
  }
  void finger(Uint32 type, double x, double y) {
    SDL_Event event{};
    event.type = type;
    event.tfinger.x = static_cast<float>(x);
    event.tfinger.y = static_cast<float>(y);
    SDL_PushEvent(&event);
  }
  void mouse(Uint32 type, Uint8 button, int y) {
    SDL_Event event{};
    event.type = type;
    (type == SDL_MOUSEMOTION ? event.motion.x : event.button.x) = 500;
    (type == SDL_MOUSEMOTION ? event.motion.y : event.button.y) = y;
    if (type != SDL_MOUSEMOTION) event.button.button = button;
    SDL_PushEvent(&event);
  }

  std::unique_ptr<box::SdlWindow> window;
  std::optional<box::ScreenInput> input;
};

TEST_F(ScreenInput, MapsKeysToPresses) {
  for (const SDL_KeyCode code :
       {SDLK_UP, SDLK_DOWN, SDLK_LEFT, SDLK_RIGHT, SDLK_RETURN, SDLK_KP_ENTER, SDLK_SELECT,
        SDLK_ESCAPE, SDLK_BACKSPACE, SDLK_AC_BACK, SDLK_MENU, SDLK_SPACE, SDLK_AUDIOPLAY, SDLK_HOME,
        SDLK_AC_HOME, SDLK_a, SDLK_LSHIFT})
    key(code);
  key(SDLK_RIGHT, 1);
  EXPECT_EQ(receivedInput(),
            "up down left right select select select menu menu menu menu playpause playpause home "
            "home right..");
}

TEST_F(ScreenInput, OpensAndClosesControllers) {
  const int device = SDL_JoystickAttachVirtual(
      SDL_JOYSTICK_TYPE_GAMECONTROLLER, SDL_CONTROLLER_AXIS_MAX, SDL_CONTROLLER_BUTTON_MAX, 0);
  if (device < 0) GTEST_SKIP() << "no virtual controllers: " << SDL_GetError();
  EXPECT_EQ(receivedInput(), "");
  SDL_Joystick* const joystick =
      SDL_JoystickFromInstanceID(SDL_JoystickGetDeviceInstanceID(device));
  ASSERT_NE(joystick, nullptr) << "not opened";

  const auto set = [&](SDL_GameControllerButton button, Uint8 state) {
    SDL_JoystickSetVirtualButton(joystick, button, state);
    SDL_JoystickUpdate();
  };
  for (const auto button :
       {SDL_CONTROLLER_BUTTON_DPAD_UP, SDL_CONTROLLER_BUTTON_DPAD_DOWN,
        SDL_CONTROLLER_BUTTON_DPAD_LEFT, SDL_CONTROLLER_BUTTON_A, SDL_CONTROLLER_BUTTON_B,
        SDL_CONTROLLER_BUTTON_START, SDL_CONTROLLER_BUTTON_X}) {
    set(button, SDL_PRESSED);
    set(button, SDL_RELEASED);
  }
  EXPECT_EQ(receivedInput(),
            "+up -up +down -down +left -left +select -select +menu -menu +playpause -playpause");
  SDL_Event guide{};  // pushed, because SDL reports a pressed guide button with a delay
  guide.type = SDL_CONTROLLERBUTTONDOWN;
  guide.cbutton.button = SDL_CONTROLLER_BUTTON_GUIDE;
  SDL_PushEvent(&guide);
  EXPECT_EQ(receivedInput(), "+home");
  set(SDL_CONTROLLER_BUTTON_DPAD_RIGHT, SDL_PRESSED);
  EXPECT_EQ(receivedInput(), "+right");
  SDL_JoystickDetachVirtual(device);
  EXPECT_EQ(receivedInput(), "-right") << "released by the removal";
}

TEST_F(ScreenInput, ReportsOneSwipePerDrag) {
  // Fractions of a window with an aspect ratio of 2.
  const struct {
    const char* name;
    std::vector<std::pair<double, double>> path;
    const char* receivedInput;
  } cases[]{{"right", {{0.5, 0.5}, {0.52, 0.51}, {0.55, 0.5}, {0.9, 0.5}}, "~right"},
            {"left", {{0.5, 0.5}, {0.4, 0.4}}, "~left"},
            {"up", {{0.5, 0.5}, {0.51, 0.3}}, "~up"},
            {"down", {{0.5, 0.5}, {0.5, 0.8}}, "~down"},
            {"longer horizontally in pixels", {{0.5, 0.5}, {0.6, 0.62}}, "~right"},
            {"first direction wins", {{0.5, 0.5}, {0.6, 0.5}, {0.1, 0.5}}, "~right"},
            {"too short", {{0.5, 0.5}, {0.53, 0.55}}, ""}};
  for (const auto& testCase : cases) {
    finger(SDL_FINGERMOTION, 0.1, 0.1);  // ignored: no finger is down
    finger(SDL_FINGERDOWN, testCase.path[0].first, testCase.path[0].second);
    for (const auto& [x, y] : testCase.path) finger(SDL_FINGERMOTION, x, y);
    finger(SDL_FINGERUP, 0, 0);
    finger(SDL_FINGERMOTION, 0.9, 0.9);  // ignored: the finger is up
    EXPECT_EQ(receivedInput(), testCase.receivedInput) << testCase.name;
  }
  mouse(SDL_MOUSEBUTTONDOWN, SDL_BUTTON_RIGHT, 250);
  mouse(SDL_MOUSEMOTION, 0, 450);
  EXPECT_EQ(receivedInput(), "");
  mouse(SDL_MOUSEBUTTONDOWN, SDL_BUTTON_LEFT, 250);
  mouse(SDL_MOUSEMOTION, 0, 150);
  mouse(SDL_MOUSEBUTTONUP, SDL_BUTTON_LEFT, 150);
  EXPECT_EQ(receivedInput(), "~up");
}

}  // namespace
