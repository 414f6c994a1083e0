#include "media/engine/MediaEngine.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <gtest/gtest.h>

#include "platform/foundation/queues/WorkerThreads.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"
#include "tests/support/RefusedThreads.h"

namespace testing_media {
namespace {

using platform::MediaLoad;

constexpr double kFrame = 1.0 / 25;
constexpr double kDuration = 3;

std::ptrdiff_t entries(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

MediaLoad paused(std::optional<double> startSeconds = {}) {
  MediaLoad load;
  load.playing = false;
  load.startSeconds = startSeconds;
  return load;
}

class MediaEngineTest : public ::testing::Test {
 protected:
  void loadPaused(const std::string& name) {
    harness.load(TestMedia::shared().url(name), paused());
    ASSERT_TRUE(harness.waitForEvent("pause"));
  }
  void loadPlaying(const std::string& name) {
    harness.load(TestMedia::shared().url(name));
    ASSERT_TRUE(harness.waitForEvent("play 1"));
  }
  void seek(double seconds) {
    const int before = harness.count("seek");
    harness.call([&](platform::MediaEngine& engine) { engine.seek(seconds); });
    ASSERT_TRUE(harness.waitForEvent("seek", before));
  }
  bool untilPosition(const std::function<bool(double)>& isSo) {
    // A new frame ends the wait for the queue.
    return harness.waitUntil([&] { return isSo(harness.engine().position()); });
  }

  EngineHarness harness;
};

TEST_F(MediaEngineTest, PlaysFromTheFirstFrameToTheEnd) {
  loadPlaying("clip.mp4");
  EXPECT_EQ(harness.events(), (std::vector<std::string>{"ready", "play 1"}));
  ASSERT_NE(harness.frame(), nullptr);
  EXPECT_LE(harness.frame()->time, 3 * kFrame);
  ASSERT_TRUE(harness.waitForEvent("end"));
  EXPECT_EQ(harness.events(), (std::vector<std::string>{"ready", "play 1", "end"}));
  EXPECT_NEAR(harness.engine().position(), kDuration, 2 * kFrame);
  ASSERT_NE(harness.frame(), nullptr) << "the last frame is still shown";
  EXPECT_NEAR(harness.frame()->time, kDuration - kFrame, 2 * kFrame);
  EXPECT_EQ(harness.misplacedEvents(), 0);
}

TEST_F(MediaEngineTest, FirstFrameIsAReadablePicture) {
  loadPaused("clip.mp4");
  ASSERT_TRUE(harness.waitUntil([&] { return harness.frame() != nullptr; }));
  const auto frame = harness.frame();
  EXPECT_EQ(frame->width, 320);
  EXPECT_EQ(frame->height, 180);
  EXPECT_EQ(frame->time, 0);
  EXPECT_EQ(frame->rotationDegrees, 0);
  EXPECT_FALSE(frame->fullRange);
  ASSERT_EQ(frame->planeCount, frame->format == media::VideoFormat::NV12 ? 2u : 3u);
  EXPECT_EQ(frame->planes[0].rowBytes, 320u);
  EXPECT_EQ(frame->planes[0].rows, 180u);
  EXPECT_EQ(frame->planes[1].rows, 90u);
  EXPECT_GE(frame->planes[0].stride, frame->planes[0].rowBytes);
  // The test picture has bars of different brightness.
  const auto* row = frame->planes[0].data + frame->planes[0].stride * 20;
  const auto [darkest, brightest] = std::minmax_element(row, row + 320);
  EXPECT_GT(*brightest - *darkest, 100);
  harness.destroyEngine();
  EXPECT_GT(*std::max_element(row, row + 320), 100) << "a frame outlives its engine";
}

TEST_F(MediaEngineTest, ReportsTheRotationOfPictures) {
  loadPaused("turned.mp4");
  ASSERT_TRUE(harness.waitUntil([&] { return harness.frame() != nullptr; }));
  EXPECT_EQ(harness.frame()->rotationDegrees, 90);
  EXPECT_EQ(harness.frame()->width, 320);
}

TEST_F(MediaEngineTest, SeeksToTheExactFrame) {
  loadPaused("clip.mp4");
  for (const double seconds : {1.52, 0.4, 2.8, 0.0}) {
    SCOPED_TRACE(seconds);
    const auto serial = harness.frames().serial();
    seek(seconds);
    EXPECT_EQ(harness.frames().serial(), serial + 1)
        << "while paused, only the seek shows a picture";
    EXPECT_NEAR(harness.engine().position(), seconds, kFrame);
    ASSERT_NE(harness.frame(), nullptr);
    EXPECT_NEAR(harness.frame()->time, seconds, kFrame);
  }
}

/// GStreamer plays files backwards; media over HTTP are played backwards by Scrubbing.
class MediaEngineRateTest : public MediaEngineTest, public ::testing::WithParamInterface<bool> {};

TEST_P(MediaEngineRateTest, PlaysAtOtherRates) {
  const TestMedia& media = TestMedia::shared();
  harness.load(GetParam() ? media.fileURL("clip.mp4") : media.url("clip.mp4"));
  ASSERT_TRUE(harness.waitForEvent("play 1"));
  harness.call([](platform::MediaEngine& engine) { engine.play(2); });
  ASSERT_TRUE(harness.waitForEvent("play 2"));
  const double from = harness.engine().position();
  ASSERT_TRUE(untilPosition([&](double at) { return at > from + 1; }));

  seek(1);
  harness.call([](platform::MediaEngine& engine) { engine.play(-1); });
  ASSERT_TRUE(harness.waitForEvent("play -1"));
  ASSERT_TRUE(harness.waitForEvent("end"));
  EXPECT_EQ(harness.engine().position(), 0);

  // Forward playback ends at the end, reverse playback at the beginning.
  harness.call([](platform::MediaEngine& engine) { engine.play(1e9); });
  ASSERT_TRUE(harness.waitForEvent("play 16"));
  ASSERT_TRUE(harness.waitForEvent("end", 1));
  EXPECT_NEAR(harness.engine().position(), kDuration, 2 * kFrame);
  harness.call([](platform::MediaEngine& engine) { engine.play(-16); });
  ASSERT_TRUE(harness.waitForEvent("play -16"));
  ASSERT_TRUE(harness.waitForEvent("end", 2));
}

TEST_P(MediaEngineRateTest, PausesAndSeeksDuringReversePlayback) {
  const TestMedia& media = TestMedia::shared();
  harness.load(GetParam() ? media.fileURL("clip.mp4") : media.url("clip.mp4"), paused(2.5));
  ASSERT_TRUE(harness.waitForEvent("pause"));
  harness.call([](platform::MediaEngine& engine) { engine.play(-1); });
  ASSERT_TRUE(harness.waitForEvent("play -1"));
  // In reverse playback frames are rare.
  ASSERT_TRUE(untilPosition([](double at) { return at < 2.3; }));
  harness.call([](platform::MediaEngine& engine) { engine.pause(); });
  ASSERT_TRUE(harness.waitForEvent("pause", 1));
  const double at = harness.engine().position();
  EXPECT_GT(at, 1.5);
  seek(1);
  EXPECT_NEAR(harness.engine().position(), 1, kFrame);
  harness.call([](platform::MediaEngine& engine) { engine.play(-1); });
  ASSERT_TRUE(harness.waitForEvent("play -1", 1));
  harness.call([](platform::MediaEngine& engine) { engine.play(1); });
  ASSERT_TRUE(harness.waitForEvent("play 1"));
  ASSERT_TRUE(untilPosition([](double now) { return now > 1.2; }));
  EXPECT_EQ(harness.count("end"), 0);
}

INSTANTIATE_TEST_SUITE_P(Sources, MediaEngineRateTest, ::testing::Bool(),
                         [](const auto& source) { return source.param ? "File" : "Http"; });

TEST_F(MediaEngineTest, EndTimesApplyToTheirDirection) {
  MediaLoad load;
  load.forwardEndSeconds = 0.4;
  harness.load(TestMedia::shared().url("clip.mp4"), load);
  ASSERT_TRUE(harness.waitForEvent("end"));
  EXPECT_NEAR(harness.engine().position(), 0.4, kFrame);
  EXPECT_NEAR(harness.frame()->time, 0.4, 2 * kFrame);
  EXPECT_LT(harness.frame()->time, 0.4 - kFrame / 2)
      << "a picture that begins at the end time is not shown";

  harness.call([](platform::MediaEngine& engine) { engine.setEndTimes(0.8, 0.5); });
  ASSERT_TRUE(harness.waitForEvent("end", 1)) << "playback resumes after the end time is moved";
  EXPECT_NEAR(harness.engine().position(), 0.8, kFrame);
  EXPECT_LT(harness.frame()->time, 0.8 - kFrame / 2);

  harness.call([](platform::MediaEngine& engine) { engine.play(-1); });
  ASSERT_TRUE(harness.waitForEvent("end", 2));
  EXPECT_NEAR(harness.engine().position(), 0.5, kFrame);
  EXPECT_GT(harness.frame()->time, 0.5 - kFrame) << "the picture at the end time is the last one";

  harness.call([](platform::MediaEngine& engine) {
    engine.setEndTimes(std::nullopt, std::nullopt);
    engine.play(1);
  });
  ASSERT_TRUE(harness.waitForEvent("end", 3));
  EXPECT_NEAR(harness.engine().position(), kDuration, 2 * kFrame);
}

TEST_F(MediaEngineTest, StallsWithoutDataAndResumes) {
  // On a busy machine playback may never have to wait.
  for (int attempt = 0; attempt < 4 && harness.count("stall") == 0; ++attempt) {
    harness.load(TestMedia::shared().slowURL("heavy_6s.mp4"));
    harness.waitUntil([&] { return harness.count("stall") > 0; }, std::chrono::seconds(12));
  }
  ASSERT_GE(harness.count("stall"), 1);
  ASSERT_TRUE(harness.waitForEvent("play 1", 1));
  EXPECT_EQ(harness.count("fail"), 0);
  EXPECT_EQ(harness.misplacedEvents(), 0);
}

TEST_F(MediaEngineTest, ReportsBufferingBeforeReady) {
  const std::string url = TestMedia::shared().url("clip.mp4");
  harness.load(url.substr(0, url.rfind('/')) + "/late/clip.mp4");
  ASSERT_TRUE(harness.waitForEvent("ready"));
  EXPECT_TRUE(harness.haveFactsChangedEarly());
}

void loadWithoutAThread() {
  EngineHarness harness;
  testing_support::refuseThreads();
  harness.load("file:///nowhere.mp4");
  std::_Exit(harness.waitForEvent("fail") ? 0 : 1);
}

TEST(MediaEngineThreads, LoadFailsWithoutThreads) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(loadWithoutAThread(), testing::ExitedWithCode(0), "");
}

TEST_F(MediaEngineTest, RepeatedLoadsLeakNothing) {
  constexpr int kRounds = 20;
  // The second item has transfers in progress at each stop.
  for (const char* name : {"clip.mp4", "programme.m3u8"}) {
    SCOPED_TRACE(name);
    const auto once = [&] {
      loadPlaying(name);
      harness.call([](platform::MediaEngine& engine) { engine.unload(); });
      EXPECT_EQ(harness.frame(), nullptr);
      ASSERT_TRUE(platform::WorkerThreads::waitForAll(std::chrono::seconds(30)));
    };
    for (int warm = 0; warm < 3; ++warm) once();
    const auto threads = entries("/proc/self/task");
    const auto descriptors = entries("/proc/self/fd");
    for (int round = 0; round < kRounds; ++round) once();
    // Thread pools keep threads for a while, and connections are closed asynchronously.
    EXPECT_LE(entries("/proc/self/task"), threads + 3);
    EXPECT_LE(entries("/proc/self/fd"), descriptors + kRounds / 2);
  }
}

}  // namespace
}  // namespace testing_media
