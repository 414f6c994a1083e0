// Preparing the next item during playback, and the sound device that both use.

#include <gtest/gtest.h>

#include "platform/foundation/queues/WorkerThreads.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/MediaEngineMaker.h"
#include "tests/media/TestMedia.h"
#include "tests/media/TestSound.h"

namespace testing_media {
namespace {

using platform::MediaLoad;
using Texts = std::vector<std::string>;

constexpr double kFrameSeconds = 1.0 / 25;

class NextItemTest : public ::testing::Test {
 protected:
  void begin(const std::string& name, bool exclusive = false) {
    sound = std::make_shared<TestSound>(exclusive);
    harness = std::make_unique<EngineHarness>(makerOf({.allowFileURLs = true, .audio = sound}));
    harness->load(TestMedia::shared().url(name));
    ASSERT_TRUE(harness->waitForEvent("play 1"));
  }
  /// Also waits until prerolling has finished. No event reports that, so the wait is for a number
  /// of frames; the assertions afterwards do not depend on its length.
  MediaLoad prepare(const std::string& url, std::optional<double> start = {}) {
    MediaLoad load;
    load.item = std::make_shared<TVSURLMediaItem>(url, Texts{});
    load.startSeconds = start;
    harness->call([&](platform::MediaEngine& engine) { engine.prepare(load); });
    return load;
  }

  std::shared_ptr<TestSound> sound;
  std::unique_ptr<EngineHarness> harness;
};

TEST_F(NextItemTest, IsShownAtOnceWithItsFirstFrame) {
  ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
  const MediaLoad next = prepare(TestMedia::shared().url("clip.mp4"), 1.0);
  ASSERT_TRUE(harness->waitForEvent("end"));
  EXPECT_EQ(harness->events(), (Texts{"ready", "play 1", "end"}))
      << "a prepared item reports no events";
  ASSERT_NE(harness->frame(), nullptr);
  EXPECT_GT(harness->frame()->time, 2.5) << "a prepared item shows no picture";
  EXPECT_EQ(sound->played().size(), 2u) << "a shared device is opened in advance";
  harness->load({}, next);
  // Checked before any other task has run: the screen is never empty, and the pipeline is reused.
  ASSERT_NE(harness->frame(), nullptr);
  EXPECT_NEAR(harness->frame()->time, 1.0, kFrameSeconds);
  ASSERT_TRUE(harness->waitForEvent("end"));
  EXPECT_EQ(harness->events(), (Texts{"ready", "play 1", "end"}));
  EXPECT_EQ(sound->played().size(), 2u);
  EXPECT_EQ(harness->misplacedEvents(), 0);
}

TEST_F(NextItemTest, PlaysWithoutAGap) {
  // An exclusive device is opened for the next item after the previous one has released it.
  for (const bool exclusive : {false, true}) {
    ASSERT_NO_FATAL_FAILURE(begin("tone.m4a", exclusive));
    const MediaLoad next = prepare(TestMedia::shared().url("tone.m4a"));
    ASSERT_TRUE(harness->waitForEvent("end"));
    EXPECT_EQ(sound->played().size(), exclusive ? 1u : 2u);
    harness->load({}, next);
    ASSERT_TRUE(harness->waitUntil([&] { return sound->played().size() == 2; }));
    ASSERT_TRUE(harness->waitUntil([&] { return sound->played()[1].buffers > 0; }));
    const auto played = sound->played();
    EXPECT_GE(played[1].begin, played[0].end);
    std::printf("gap in sound%s: %.1f ms\n", exclusive ? ", exclusive device" : "",
                static_cast<double>(played[1].begin - played[0].end) / 1e6);
    ASSERT_TRUE(harness->waitForEvent("end"));
    EXPECT_EQ(harness->events(), (Texts{"ready", "play 1", "end"}));
  }
}

TEST_F(NextItemTest, IsDroppedIfAnotherItemIsLoaded) {
  ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
  const auto first = prepare(TestMedia::shared().url("clip.mp4"));
  const auto second = prepare(TestMedia::shared().url("silent.mp4"));
  harness->load({}, first);
  EXPECT_EQ(harness->frame(), nullptr) << "another item was prepared meanwhile";
  ASSERT_TRUE(harness->waitForEvent("play 1"));
  prepare(TestMedia::shared().url("clip.mp4"));
  harness->call([](platform::MediaEngine& engine) { engine.unload(); });
  EXPECT_TRUE(platform::WorkerThreads::waitForAll(std::chrono::seconds(30)));
}

TEST_F(NextItemTest, FailsOnlyWhenItIsLoaded) {
  for (const std::string& url :
       {TestMedia::shared().url("missing.mp4"), std::string("gopher://nowhere/a")}) {
    SCOPED_TRACE(url);
    ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
    const MediaLoad next = prepare(url);
    ASSERT_TRUE(harness->waitForEvent("end"));
    EXPECT_EQ(harness->count("fail"), 0);
    harness->load({}, next);
    ASSERT_TRUE(harness->waitForEvent("fail"));
    EXPECT_EQ(harness->events(), (Texts{"fail"}));
  }
}

TEST_F(NextItemTest, PlaysOnWithoutAnAudioDevice) {
  ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
  ASSERT_TRUE(harness->waitUntil([&] { return harness->engine().position() > 0.3; }));
  sound->isGone = true;
  ASSERT_TRUE(harness->waitUntil([&] { return harness->engine().position() > 0.8; }));
  const auto heard = sound->played();
  EXPECT_EQ(heard.size(), 1u);
  sound->isGone = false;
  ASSERT_TRUE(harness->waitUntil([&] {
    const auto played = sound->played();
    return played.size() == 2 && played[1].buffers > 0;
  })) << "the device is in use again";
  ASSERT_TRUE(harness->waitForEvent("end"));
  EXPECT_EQ(harness->count("fail"), 0);
}

}  // namespace
}  // namespace testing_media
