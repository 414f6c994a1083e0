// What is prepared while something else plays, and the sound device that both want.

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
    ASSERT_TRUE(harness->untilTold("play 1"));
  }
  /// Also waits until it is as far as it comes, of which nothing tells: a frame says no more than
  /// that some time has passed, so what is asserted afterwards holds at any time.
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

TEST_F(NextItemTest, IsTakenOverWithItsFirstFrame) {
  ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
  const MediaLoad next = prepare(TestMedia::shared().url("clip.mp4"), 1.0);
  ASSERT_TRUE(harness->untilTold("end"));
  EXPECT_EQ(harness->told(), (Texts{"ready", "play 1", "end"})) << "it tells nothing of itself";
  ASSERT_NE(harness->frame(), nullptr);
  EXPECT_GT(harness->frame()->time, 2.5) << "and shows nothing";
  EXPECT_EQ(sound->played().size(), 2u) << "a device that mixes is opened ahead";
  harness->load({}, next);
  // Before anything else has run: nobody sees an empty screen, and nothing is built again.
  ASSERT_NE(harness->frame(), nullptr);
  EXPECT_NEAR(harness->frame()->time, 1.0, kFrameSeconds);
  ASSERT_TRUE(harness->untilTold("end"));
  EXPECT_EQ(harness->told(), (Texts{"ready", "play 1", "end"}));
  EXPECT_EQ(sound->played().size(), 2u);
  EXPECT_EQ(harness->misplaced(), 0);
}

TEST_F(NextItemTest, NoTimePassesBetweenTwoOfAKind) {
  // One that is exclusive opens for the next item when the one before is through.
  for (const bool exclusive : {false, true}) {
    ASSERT_NO_FATAL_FAILURE(begin("tone.m4a", exclusive));
    const MediaLoad next = prepare(TestMedia::shared().url("tone.m4a"));
    ASSERT_TRUE(harness->untilTold("end"));
    EXPECT_EQ(sound->played().size(), exclusive ? 1u : 2u);
    harness->load({}, next);
    ASSERT_TRUE(harness->until([&] { return sound->played().size() == 2; }));
    ASSERT_TRUE(harness->until([&] { return sound->played()[1].buffers > 0; }));
    const auto played = sound->played();
    EXPECT_GE(played[1].begin, played[0].end);
    std::printf("gap in sound%s: %.1f ms\n", exclusive ? ", exclusive device" : "",
                static_cast<double>(played[1].begin - played[0].end) / 1e6);
    ASSERT_TRUE(harness->untilTold("end"));
    EXPECT_EQ(harness->told(), (Texts{"ready", "play 1", "end"}));
  }
}

TEST_F(NextItemTest, WhatIsNotWantedAfterAllGoes) {
  ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
  const auto first = prepare(TestMedia::shared().url("clip.mp4"));
  const auto second = prepare(TestMedia::shared().url("silent.mp4"));
  harness->load({}, first);
  EXPECT_EQ(harness->frame(), nullptr) << "another was prepared since";
  ASSERT_TRUE(harness->untilTold("play 1"));
  prepare(TestMedia::shared().url("clip.mp4"));
  harness->call([](platform::MediaEngine& engine) { engine.unload(); });
  EXPECT_TRUE(platform::WorkerThreads::waitForAll(std::chrono::seconds(30)));
}

TEST_F(NextItemTest, FailsInItsTurn) {
  for (const std::string& url :
       {TestMedia::shared().url("missing.mp4"), std::string("gopher://nowhere/a")}) {
    SCOPED_TRACE(url);
    ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
    const MediaLoad next = prepare(url);
    ASSERT_TRUE(harness->untilTold("end"));
    EXPECT_EQ(harness->count("fail"), 0);
    harness->load({}, next);
    ASSERT_TRUE(harness->untilTold("fail"));
    EXPECT_EQ(harness->told(), (Texts{"fail"}));
  }
}

TEST_F(NextItemTest, PlaysOnWhileTheDeviceIsGone) {
  ASSERT_NO_FATAL_FAILURE(begin("clip.mp4"));
  ASSERT_TRUE(harness->until([&] { return harness->engine().position() > 0.3; }));
  sound->isGone = true;
  ASSERT_TRUE(harness->until([&] { return harness->engine().position() > 0.8; }));
  const auto heard = sound->played();
  EXPECT_EQ(heard.size(), 1u);
  sound->isGone = false;
  ASSERT_TRUE(harness->until([&] {
    const auto played = sound->played();
    return played.size() == 2 && played[1].buffers > 0;
  })) << "it is back";
  ASSERT_TRUE(harness->untilTold("end"));
  EXPECT_EQ(harness->count("fail"), 0);
}

}  // namespace
}  // namespace testing_media
