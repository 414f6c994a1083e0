// The screen on display servers: what they show is what the screen has drawn.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <cairo.h>
#include <gtest/gtest.h>

#include "box/screen/window/Screen.h"
#include "tests/box/screen/Pictures.h"
#include "tests/box/screen/displays/DisplayServer.h"

namespace box::test {
namespace {

using platform::Bytes;
using platform::Error;
using Kind = DisplayServer::Kind;

constexpr platform::Duration kLimit = std::chrono::seconds(40);

std::optional<Screenshot> decode(const Bytes& png) {
  struct Reader {
    const Bytes& bytes;
    std::size_t position = 0;
  } reader{png};
  const auto read = [](void* data, unsigned char* to, unsigned length) {
    auto& from = *static_cast<Reader*>(data);
    if (from.position + length > from.bytes.size()) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(to, from.bytes.data() + from.position, length);
    from.position += length;
    return CAIRO_STATUS_SUCCESS;
  };
  const CairoSurfacePtr surface(cairo_image_surface_create_from_png_stream(read, &reader));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return std::nullopt;
  Screenshot picture{cairo_image_surface_get_width(surface.get()),
                     cairo_image_surface_get_height(surface.get()),
                     {}};
  for (int y = 0; y < picture.height; ++y) {
    const auto* row = cairo_image_surface_get_data(surface.get()) +
                      y * cairo_image_surface_get_stride(surface.get());
    for (int x = 0; x < picture.width; ++x) {
      const std::uint32_t pixel = reinterpret_cast<const std::uint32_t*>(row)[x];
      for (const int shift : {16, 8, 0})
        picture.pixels.push_back(static_cast<std::uint8_t>(pixel >> shift));
    }
  }
  return picture;
}

/// The greatest difference of a component; 256 if the sizes differ.
int difference(const Screenshot& one, const Screenshot& other) {
  if (one.width != other.width || one.height != other.height) return 256;
  int greatest = 0;
  for (std::size_t i = 0; i < one.pixels.size(); ++i)
    greatest = std::max(greatest, std::abs(one.pixels[i] - other.pixels[i]));
  return greatest;
}

struct DisplayCase {
  const char* name;
  Kind kind;
  const char* renderer;  ///< SDL_RENDER_DRIVER or null
};

class DisplaysTest : public testing::Test {
 protected:
  void start(const DisplayCase& display) {
    server.emplace(display.kind);
    if (display.renderer) setenv("SDL_RENDER_DRIVER", display.renderer, 1);
    ASSERT_TRUE(server->start()) << "scripts/setup test installs the display servers";
    screen = std::make_unique<Screen>(queue, clock, ScreenOptions{});
    screen->setInputHandler([this](const platform::InputEvent& event) {
      if (const auto* press = std::get_if<platform::PressType>(&event.what))
        presses.push_back(*press);
    });
    std::optional<std::optional<Error>> answer;
    screen->open([&](std::optional<Error> error) { answer = std::move(error); });
    ASSERT_TRUE(runUntil([&] { return answer.has_value(); }));
    ASSERT_FALSE(answer->has_value()) << (*answer)->localizedDescription.value_or("");
  }

  /// Runs the main queue until `done` returns true; returns false after a timeout.
  template <typename Done>
  bool runUntil(const Done& done) {
    const platform::TimePoint limit = clock.now() + kLimit;
    while (!done()) {
      if (clock.now() >= limit) return false;
      if (!queue.runDue()) queue.waitForWork(limit);
    }
    return true;
  }

  std::optional<Screenshot> capture() {
    std::optional<std::shared_ptr<const Bytes>> answer;
    screen->capture([&](std::shared_ptr<const Bytes> png) { answer = std::move(png); });
    if (!runUntil([&] { return answer.has_value(); }) || !*answer) return std::nullopt;
    return decode(**answer);
  }

  void show(platform::Color color) {
    const platform::Rect bar{200, 300, 800, 100};
    auto scene = sceneOf({platform::FillElement{color}});
    scene.nodes.push_back(platform::SceneNode{bar,
                                              platform::AnimatedAlpha::constant(0.5F),
                                              {platform::FillElement{platform::kWhite}},
                                              {}});
    screen->setScene(std::make_shared<platform::Scene>(std::move(scene)));
  }

  /// Waits until the display shows what the screen has drawn, in this size. Effects of the
  /// compositor, such as a window that fades in, take their time.
  testing::AssertionResult shows(platform::Color color, int width = 1280, int height = 720) {
    show(color);
    int distance = 256;
    const platform::TimePoint limit = clock.now() + kLimit;
    while (clock.now() < limit) {
      const auto drawn = capture();
      const auto shown = server->screenshot();
      if (drawn && shown && shown->width == width && shown->height == height)
        distance = difference(*drawn, *shown);
      if (distance <= 1) return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "differs by " << distance << "; " << server->log();
  }

  platform::SystemClock clock;
  platform::MainQueue queue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  std::optional<DisplayServer> server;
  std::vector<platform::PressType> presses;
  std::unique_ptr<Screen> screen;
};

class Displays : public DisplaysTest, public testing::WithParamInterface<DisplayCase> {
 protected:
  void SetUp() override {
    if (kSkipsOpenGL && GetParam().renderer && GetParam().kind != Kind::WestonGL)
      GTEST_SKIP() << "OpenGL in software is too slow with a sanitizer";
  }
};

constexpr platform::Color kRed{1, 0, 0, 1};
constexpr platform::Color kBlue{0, 0.5F, 1, 1};

TEST_P(Displays, ShowThePictureAndShowItAgainAfterTheirEnd) {
  ASSERT_NO_FATAL_FAILURE(start(GetParam()));
  bool closed = false;
  screen->setClosedHandler([&] { closed = true; });
  EXPECT_TRUE(shows(kRed));
  for (const platform::Color color : {kBlue, kRed}) {
    server->kill();
    ASSERT_TRUE(runUntil([&] { return !capture(); })) << "the loss is not noticed";
    show(color);
    ASSERT_TRUE(server->start());
    EXPECT_TRUE(shows(color));
  }
  EXPECT_TRUE(screen->isOpen());
  EXPECT_FALSE(closed);
}

/// The display server ends while nothing is shown.
TEST_P(Displays, AreUsedAgainByTheNextOpen) {
  ASSERT_NO_FATAL_FAILURE(start(GetParam()));
  screen->close();
  server->kill();
  ASSERT_TRUE(server->start());
  std::optional<std::optional<Error>> answer;
  screen->open([&](std::optional<Error> error) { answer = std::move(error); });
  ASSERT_TRUE(runUntil([&] { return answer.has_value(); }));
  EXPECT_FALSE(answer->has_value());
  EXPECT_TRUE(shows(kRed));
}

std::string nameOf(const testing::TestParamInfo<DisplayCase>& test) { return test.param.name; }

constexpr DisplayCase kSway{"Sway", Kind::Sway, nullptr};
constexpr DisplayCase kSwayWithOpenGL{"SwayWithOpenGL", Kind::Sway, "opengles2"};

INSTANTIATE_TEST_SUITE_P(
    All, Displays,
    testing::Values(kSway, kSwayWithOpenGL,
                    DisplayCase{"WestonWithoutSeat", Kind::WestonPixman, nullptr},
                    DisplayCase{"WestonWithOpenGLWithoutSeat", Kind::WestonGL, "opengles2"},
                    DisplayCase{"X11", Kind::X11, nullptr},
                    DisplayCase{"X11WithOpenGL", Kind::X11, "opengl"}),
    nameOf);

class Outputs : public Displays {};

TEST_P(Outputs, MayChangeTheirSizeAndBeUnplugged) {
  ASSERT_NO_FATAL_FAILURE(start(GetParam()));
  EXPECT_TRUE(shows(kRed));
  ASSERT_TRUE(server->command("output HEADLESS-1 resolution 1920x1080"));
  EXPECT_TRUE(shows(kRed, 1920, 1080));
  ASSERT_TRUE(server->command("output HEADLESS-1 disable"));
  show(kBlue);
  ASSERT_TRUE(server->command("output HEADLESS-1 enable"));
  EXPECT_TRUE(shows(kBlue, 1920, 1080));
}

INSTANTIATE_TEST_SUITE_P(All, Outputs, testing::Values(kSway, kSwayWithOpenGL), nameOf);

TEST_F(DisplaysTest, KeyboardsThatAppearAreTheRemote) {
  ASSERT_NO_FATAL_FAILURE(start(kSway));
  EXPECT_TRUE(shows(kRed));
  server->addKeyboard();
  using enum platform::PressType;
  const std::vector expected{Up, Left, Select, Menu, PlayPause};
  // Keys that are pressed before the window listens to the keyboard are lost.
  const platform::TimePoint limit = clock.now() + kLimit;
  while (presses != expected && clock.now() < limit) {
    presses.clear();
    ASSERT_TRUE(server->press("Up Left Return Escape space"));
    capture();  // runs the main queue
  }
  EXPECT_EQ(presses, expected);
}

}  // namespace
}  // namespace box::test
