// A sound server that ends and returns during playback.

#include <chrono>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "tests/box/process/SystemFixture.h"
#include "tests/box/sound/SoundServerProcess.h"

namespace {

using testing::HasSubstr;

class SoundReturn : public SystemTest {
 protected:
  /// Waits up to 20 s until the box plays an audio stream.
  [[nodiscard]] static bool sounds() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end)
      if (!SoundServerProcess::control("list short sink-inputs 2>&1 | grep float").empty())
        return true;
    return false;
  }
  static std::string media(const std::string& name) {
    return testing_media::TestMedia::shared().url(name);
  }
  double position() { return playbackInfo().number("position")->doubleValue(); }

  SoundServerProcess server;
};

TEST_F(SoundReturn, TheSessionContinuesAndHasSoundAgain) {
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

TEST_F(SoundReturn, ARemovedStreamEndsTheSession) {
  server.start();
  launch();
  int session = 0;
  for (const auto& [name, role] : {std::pair("tone.m4a", "music"), {"programme.m3u8", "video"}}) {
    if (session > 0) {
      EXPECT_EQ(stopVideo(session), 0);
    }
    ASSERT_EQ(startVideo(media(name), ++session).status, 0);
    ASSERT_TRUE(nextEvent("playing"));
    ASSERT_TRUE(sounds());
    const std::string stream = SoundServerProcess::control("list sink-inputs");
    EXPECT_THAT(stream, HasSubstr("media.role = \"" + std::string(role) + "\""));
    EXPECT_THAT(stream, HasSubstr("application.name = \"TVVorlane\""));
    EXPECT_THAT(stream, HasSubstr("application.icon_name = \"quorin.tvvorlane\""));
  }
  // Unload the newest sink first. Without the last one the server cannot move the stream.
  EXPECT_EQ(SoundServerProcess::control("unload-module 2; pactl unload-module 1"), "");
  EXPECT_EQ(nextEvent("userStop"), (Dictionary{{"sessionID", session}, {"userExit", true}}));
}

}  // namespace
