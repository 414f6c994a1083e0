// A sound server that dies and comes back while the box plays.

#include <chrono>
#include <string>

#include "tests/box/SystemFixture.h"
#include "tests/box/sound/SoundServerProcess.h"

namespace {

class SoundReturn : public SystemTest {
 protected:
  /// A stream of the box sounds; at most 20 s until then.
  [[nodiscard]] static bool sounds() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end)
      if (!SoundServerProcess::control("list short sink-inputs 2>&1 | grep float").empty())
        return true;
    return false;
  }
  double position() { return playbackInfo().number("position")->doubleValue(); }

  SoundServerProcess server;
};

TEST_F(SoundReturn, TheSessionPlaysOnAndSoundsAgain) {
  server.start();
  launch();
  ASSERT_EQ(startVideo(clip(), 1).status, 0);
  ASSERT_TRUE(nextEvent("playing"));
  ASSERT_TRUE(sounds());
  const double before = position();
  server.kill();
  ASSERT_TRUE(process->waitForLine("The audio device is gone")) << process->output();
  server.start();
  ASSERT_TRUE(process->waitForLine("The audio device is back")) << process->output();
  EXPECT_TRUE(sounds());
  EXPECT_GE(position(), before);
  EXPECT_EQ(stopVideo(1), 0);
}

}  // namespace
