#include "box/screen/window/Screen.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

#include <cairo.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/box/screen/Pictures.h"

namespace box::test {
namespace {

using platform::Bytes;
using platform::Error;

constexpr platform::Duration kLimit = std::chrono::seconds(10);
constexpr MemoryFrame::Yuv kWhite{235, 128, 128};

/// A headless screen. The test thread runs the main queue.
class ScreenTest : public testing::Test {
 protected:
  using Png = std::shared_ptr<const Bytes>;

  ScreenTest() {
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    screen = std::make_unique<Screen>(queue, clock,
                                      ScreenOptions{true, platform::Size{640, 360}, "Test"});
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

  bool open() {
    std::optional<std::optional<Error>> answer;
    screen->open([&](std::optional<Error> error) { answer = error; });
    return runUntil([&] { return answer.has_value(); }) && !answer->has_value();
  }

  Png capture() {
    std::optional<Png> answer;
    screen->capture([&](Png png) { answer = std::move(png); });
    EXPECT_FALSE(answer) << "completed within the call";
    EXPECT_TRUE(runUntil([&] { return answer.has_value(); }));
    return answer.value_or(nullptr);
  }

  /// Size and center pixel of a PNG.
  struct Decoded {
    int width = 0;
    int height = 0;
    Pixel middle;
  };
  static Decoded decode(const Png& png) {
    const auto file = std::filesystem::path(testing::TempDir()) / std::to_string(getpid());
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(png->data()),
               static_cast<std::streamsize>(png->size()));
    const CairoSurfacePtr surface(cairo_image_surface_create_from_png(file.c_str()));
    std::filesystem::remove(file);
    const int width = cairo_image_surface_get_width(surface.get());
    const int height = cairo_image_surface_get_height(surface.get());
    if (height == 0) return {};
    const auto* row = cairo_image_surface_get_data(surface.get()) +
                      height / 2 * cairo_image_surface_get_stride(surface.get());
    const std::uint32_t pixel = reinterpret_cast<const std::uint32_t*>(row)[width / 2];
    return {width,
            height,
            {static_cast<int>(pixel >> 16 & 255), static_cast<int>(pixel >> 8 & 255),
             static_cast<int>(pixel & 255)}};
  }

  platform::SystemClock clock;
  platform::MainQueue queue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  std::unique_ptr<Screen> screen;
};

TEST_F(ScreenTest, CapturesTheLatestScene) {
  screen->warmUp();
  ASSERT_TRUE(open());
  EXPECT_TRUE(screen->isOpen());
  for (const auto& [color, expected] : std::vector<std::pair<platform::Color, Pixel>>{
           {{1, 0, 0, 1}, {255, 0, 0}}, {{0, 0.5F, 1, 1}, {0, 128, 255}}}) {
    screen->setScene(std::make_shared<platform::Scene>(sceneOf({platform::FillElement{color}})));
    const Png png = capture();
    ASSERT_TRUE(png);
    const Decoded decoded = decode(png);
    EXPECT_EQ(decoded.width, 640);
    EXPECT_EQ(decoded.height, 360);
    EXPECT_LE(decoded.middle.distance(expected), 1);
  }
}

TEST_F(ScreenTest, CanBeReopened) {
  EXPECT_FALSE(capture()) << "before warmUp()";
  screen->warmUp();
  EXPECT_FALSE(capture()) << "before open()";
  const auto white = sceneOf({platform::FillElement{platform::kWhite}});
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(open());
    ASSERT_TRUE(open()) << "already open";
    EXPECT_EQ(decode(capture()).middle.brightness(), 0) << "close() releases the scene";
    screen->setScene(std::make_shared<platform::Scene>(white));
    EXPECT_EQ(decode(capture()).middle.brightness(), 255);
    screen->close();
    EXPECT_FALSE(screen->isOpen());
    EXPECT_FALSE(capture());
    screen->close();
  }
}

TEST_F(ScreenTest, CompletesEachOpenOnceInOrder) {
  std::vector<std::string> answers;
  const auto note = [&](const char* name) {
    return [&answers, name](const std::optional<Error>& error) {
      answers.push_back(std::string(name) + (error ? " " + std::to_string(error->code) : " open"));
    };
  };
  screen->open(note("first"));
  screen->open(note("second"));
  screen->close();
  EXPECT_TRUE(answers.empty());
  screen->open(note("third"));
  ASSERT_TRUE(runUntil([&] { return answers.size() >= 3; }));
  queue.runDue();
  EXPECT_EQ(answers, (std::vector<std::string>{"first 2", "second 2", "third open"}));
  EXPECT_TRUE(screen->isOpen());
}

TEST_F(ScreenTest, CompletesPendingCallsWhenDestroyed) {
  std::optional<Error> openError;
  int captures = 0;
  screen->open([&](std::optional<Error> error) { openError = std::move(error); });
  screen->capture([&](const Png& png) { captures += png ? 10 : 1; });
  screen.reset();
  queue.runDue();
  ASSERT_TRUE(openError);
  EXPECT_EQ(openError->code, static_cast<int>(ScreenErrorCode::ClosedMeanwhile));
  EXPECT_EQ(captures, 1);
}

TEST_F(ScreenTest, FailsToOpenWithAnUnknownDriver) {
  setenv("SDL_VIDEODRIVER", "no-such-driver", 1);
  std::optional<std::optional<Error>> answer;
  screen->open([&](std::optional<Error> error) { answer = std::move(error); });
  ASSERT_TRUE(runUntil([&] { return answer.has_value(); }));
  ASSERT_TRUE(answer->has_value());
  EXPECT_EQ((*answer)->domain, box::kScreenErrorDomain);
  EXPECT_EQ((*answer)->code, static_cast<int>(ScreenErrorCode::NoDisplay));
  EXPECT_FALSE(screen->isOpen());
  // Another open() tries again.
  setenv("SDL_VIDEODRIVER", "dummy", 1);
  EXPECT_TRUE(open());
}

TEST_F(ScreenTest, DrawsInMemoryWithoutADisplay) {
  unsetenv("SDL_VIDEODRIVER");
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("XDG_RUNTIME_DIR");
  ASSERT_TRUE(open());
  EXPECT_TRUE(capture());
}

TEST_F(ScreenTest, DrawsNewPicturesOnly) {
  const auto video = std::make_shared<media::VideoFrames>();
  const std::uint64_t ticket = video->open();
  ASSERT_TRUE(open());
  screen->setScene(std::make_shared<platform::Scene>(sceneOf({platform::VideoElement{video}})));
  ASSERT_TRUE(capture());  // all earlier changes have been drawn
  const auto idle = screen->statistics().frames;
  ASSERT_TRUE(capture());
  EXPECT_EQ(screen->statistics().frames, idle) << "drawn without a change";

  video->put(ticket, std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 64, 36, kWhite));
  EXPECT_GE(decode(capture()).middle.brightness(), 250);
  EXPECT_EQ(screen->statistics().frames, idle + 1);

  // A picture of a video that is no longer shown causes no frame.
  screen->setScene(
      std::make_shared<platform::Scene>(sceneOf({platform::FillElement{platform::kBlack}})));
  ASSERT_TRUE(capture());
  const auto without = screen->statistics().frames;
  video->put(ticket, std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 64, 36, kWhite));
  ASSERT_TRUE(capture());
  EXPECT_EQ(screen->statistics().frames, without);
}

}  // namespace
}  // namespace box::test
