// A display server that ends and returns during playback.

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/box/process/SystemFixture.h"
#include "tests/box/screen/displays/DisplayServer.h"

namespace {

using box::test::DisplayServer;
using Kind = DisplayServer::Kind;

struct DisplayReturnCase {
  const char* name;
  Kind kind;
  const char* renderer;  ///< SDL_RENDER_DRIVER or null
};

class DisplayReturn : public SystemTest, public testing::WithParamInterface<DisplayReturnCase> {
 protected:
  DisplayReturn() : server(GetParam().kind) {
    setenv("SDL_VIDEODRIVER", "", 1);
    if (GetParam().renderer) setenv("SDL_RENDER_DRIVER", GetParam().renderer, 1);
  }

  void SetUp() override {
    if (box::test::kSkipsOpenGL && GetParam().renderer)
      GTEST_SKIP() << "OpenGL in software is too slow with a sanitizer";
  }

  /// Waits up to 20 s until the middle of the display has the colour of the clip.
  testing::AssertionResult showsTheClip() const {
    constexpr int kTolerance = 8;
    auto failure = testing::AssertionFailure() << "no screenshot";
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end) {
      const auto shown = server.screenshot();
      if (!shown) continue;
      const auto* pixel = shown->pixels.data() +
                          std::ptrdiff_t{3} * (shown->height / 4 * shown->width + shown->width / 2);
      if (std::abs(pixel[0] - 0) <= kTolerance && std::abs(pixel[1] - 128) <= kTolerance &&
          std::abs(pixel[2] - 255) <= kTolerance)
        return testing::AssertionSuccess();
      failure = testing::AssertionFailure() << "the colour is " << int{pixel[0]} << ' '
                                            << int{pixel[1]} << ' ' << int{pixel[2]};
    }
    return failure << "; " << server.log();
  }
  double position() { return playbackInfo().number("position")->doubleValue(); }
  static std::string blueClip() {
    return testing_media::TestMedia::shared().url(
        "blue.mp4",
        "-f lavfi -i color=0x0080ff:s=320x180:r=25:d=60 -map 3 -c:v libx264 -preset ultrafast "
        "-vf scale=out_color_matrix=bt709,format=yuv420p -colorspace bt709");
  }

  DisplayServer server;
};

TEST_P(DisplayReturn, PlaybackGoesOnAndThePictureReturns) {
  ASSERT_TRUE(server.start()) << "scripts/setup test installs the display servers";
  launch();
  ASSERT_EQ(startVideo(blueClip(), 1).status, 0);
  ASSERT_TRUE(nextEvent("playing"));
  EXPECT_TRUE(showsTheClip());
  const double before = position();
  server.kill();
  ASSERT_TRUE(process->waitForLine("the display is lost")) << process->output();
  ASSERT_TRUE(server.start());
  ASSERT_TRUE(process->waitForLine("the display is back")) << process->output();
  EXPECT_TRUE(showsTheClip());
  EXPECT_GT(position(), before);
  EXPECT_EQ(stopVideo(1), 0);
}

INSTANTIATE_TEST_SUITE_P(All, DisplayReturn,
                         testing::Values(DisplayReturnCase{"Sway", Kind::Sway, nullptr},
                                         DisplayReturnCase{"SwayWithOpenGL", Kind::Sway,
                                                           "opengles2"},
                                         DisplayReturnCase{"X11", Kind::X11, nullptr}),
                         [](const testing::TestParamInfo<DisplayReturnCase>& test) {
                           return std::string(test.param.name);
                         });

}  // namespace
