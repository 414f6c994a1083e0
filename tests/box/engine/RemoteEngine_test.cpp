#include "box/engine/RemoteEngine.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/foundation/queues/WorkerThreads.h"
#include "tests/box/engine/EngineProcesses.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using platform::MediaEngine;

class RemoteEngineTest : public ::testing::Test {
 protected:
  void make(box::MediaProcesses::Setup setup = processesForTests()) {
    harness = std::make_unique<EngineHarness>(
        [&](platform::MainQueue& queue, const platform::Clock& clock) {
          auto made = std::make_unique<EngineWithProcesses>(queue, clock, setup);
          engine = made.get();
          return made;
        });
  }
  void load(const std::string& name, platform::MediaLoad load = {}) {
    harness->load(TestMedia::shared().url(name), std::move(load));
  }
  /// Sends a signal to the media process and waits for its replacement.
  void killAndWait(int signal) {
    const pid_t before = engine->processID();
    ASSERT_GT(before, 0);
    ASSERT_EQ(kill(before, signal), 0);
    ASSERT_TRUE(harness->waitUntil([&] { return engine->processID() != before; }));
  }
  double position() { return engine->position(); }

  std::unique_ptr<EngineHarness> harness;
  EngineWithProcesses* engine = nullptr;
};

TEST_F(RemoteEngineTest, PipelinesAreDumpedWhenAnItemIsReadyAndWhenItFails) {
  const std::filesystem::path folder =
      std::filesystem::path(::testing::TempDir()) / ("dumps-" + std::to_string(getpid()));
  const auto dumps = [&](const std::string& moment) {
    int count = 0;
    std::error_code error;
    for (const auto& file : std::filesystem::directory_iterator(folder, error))
      count += file.path().string().ends_with("-" + moment + ".dot") ? 1 : 0;
    return count;
  };
  auto setup = processesForTests();
  setup.options.pipelineDumpFolder = folder;
  make(setup);
  load("clip.mp4");
  ASSERT_TRUE(harness->waitForEvent("ready"));
  EXPECT_EQ(dumps("ready"), 1);
  EXPECT_EQ(dumps("failed"), 0);
  load("text.mp4");
  ASSERT_TRUE(harness->waitForEvent("fail"));
  EXPECT_EQ(dumps("failed"), 1);
  std::filesystem::remove_all(folder);
}

TEST_F(RemoteEngineTest, AMissingSegmentIsAFailedRequestAndPlaybackContinues) {
  make();
  harness->load(TestMedia::shared().presentation("hls_missing_middle.m3u8"));
  ASSERT_TRUE(harness->waitForEvent("end"));
  const auto requests = engine->failedRequests();
  ASSERT_FALSE(requests.empty());
  for (const platform::FailedRequest& each : requests) {
    EXPECT_EQ(each.error.domain, platform::kURLErrorDomain);
    EXPECT_EQ(each.error.code, 404);
    EXPECT_TRUE(each.url.ends_with("/none.ts")) << each.url;
    EXPECT_GT(each.date.secondsSince1970, 1e9);
  }
  // A new load has none.
  load("clip.mp4");
  ASSERT_TRUE(harness->waitForEvent("ready"));
  EXPECT_TRUE(engine->failedRequests().empty());
}

TEST_F(RemoteEngineTest, ContinuesAtTheSamePositionInANewProcess) {
  make();
  load("long.mp4");
  ASSERT_TRUE(harness->waitForEvent("play 1"));
  ASSERT_TRUE(harness->waitUntil([&] { return position() > 0.5; }));
  const auto notifications = harness->events();
  const auto frameBefore = harness->frame();
  ASSERT_TRUE(frameBefore);
  const double before = position();
  killAndWait(SIGKILL);
  // The last picture and the position are kept.
  EXPECT_TRUE(harness->frame());
  EXPECT_GE(position(), before);
  EXPECT_LT(position(), before + 1);
  const double positionAfter = position();
  ASSERT_TRUE(harness->waitUntil([&] { return position() > positionAfter + 0.5; }));
  EXPECT_NE(harness->frame(), frameBefore);
  EXPECT_GE(harness->frame()->time, before - 0.1);
  EXPECT_EQ(harness->events(), notifications);
  EXPECT_EQ(harness->misplacedEvents(), 0);
  // The facts are available again.
  EXPECT_NEAR(engine->facts().duration, 20, 0.2);
  EXPECT_FALSE(engine->accessLog().empty());
}

TEST_F(RemoteEngineTest, ACallToADeadProcessIsExecutedByTheNext) {
  make();
  load("long.mp4");
  ASSERT_TRUE(harness->waitForEvent("play 1"));
  ASSERT_EQ(kill(engine->processID(), SIGKILL), 0);
  harness->call([](MediaEngine& its) {
    its.seek(7);
    its.pause();
  });
  EXPECT_EQ(position(), 7);
  ASSERT_TRUE(harness->waitForEvent("seek"));
  ASSERT_TRUE(harness->waitForEvent("pause"));
  EXPECT_NEAR(position(), 7, 0.1);
  ASSERT_TRUE(harness->waitUntil([&] { return harness->frame() && harness->frame()->time > 6.9; }));
  EXPECT_NEAR(harness->frame()->time, 7, 0.1);
  harness->call([](MediaEngine& its) { its.play(1); });
  ASSERT_TRUE(harness->waitForEvent("play 1", 1));
  EXPECT_EQ(harness->count("fail"), 0);
}

TEST_F(RemoteEngineTest, ASeekWhileLoadingIsRepeatedInANewProcess) {
  for (const bool byDate : {false, true}) {
    SCOPED_TRACE(byDate);
    make();
    platform::MediaLoad paused;
    paused.playing = false;
    load("dated.m3u8", paused);
    ASSERT_TRUE(harness->waitForEvent("ready"));
    const platform::Date begin = engine->facts().playbackDate.value_or(platform::Date{});
    load("dated.m3u8", paused);
    harness->call([&](MediaEngine& its) {
      if (byDate)
        its.seekToDate({begin.secondsSince1970 + 1.52});
      else
        its.seek(1.52);
    });
    killAndWait(SIGKILL);
    ASSERT_TRUE(harness->waitForEvent("ready"));
    ASSERT_TRUE(harness->waitUntil([&] { return harness->frame() && harness->frame()->time > 1; }));
    EXPECT_NEAR(position(), 1.52, 0.05);
    EXPECT_NEAR(harness->frame()->time, 1.52, 0.05);
    EXPECT_EQ(harness->count("ready"), 1);
    EXPECT_EQ(harness->count("fail"), 0);
  }
}

TEST_F(RemoteEngineTest, FailsAfterTwoDeathsAndPlaysTheNextItem) {
  make();
  load("long.mp4");
  ASSERT_TRUE(harness->waitForEvent("play 1"));
  killAndWait(SIGABRT);
  ASSERT_TRUE(harness->waitUntil([&] { return engine->processID() > 0; }));
  ASSERT_EQ(kill(engine->processID(), SIGSEGV), 0);
  ASSERT_TRUE(harness->waitForEvent("fail"));
  EXPECT_EQ(harness->error()->domain, platform::kMediaErrorDomain);
  EXPECT_EQ(harness->error()->code,
            static_cast<std::int64_t>(platform::MediaErrorCode::ProcessLost));
  load("clip.mp4");
  ASSERT_TRUE(harness->waitForEvent("end"));
  EXPECT_EQ(harness->count("fail"), 0);
}

TEST_F(RemoteEngineTest, ReplacesAHungProcessAfterACommand) {
  auto setup = processesForTests();
  setup.answerLimit = std::chrono::milliseconds(300);
  make(setup);
  load("long.mp4");
  ASSERT_TRUE(harness->waitForEvent("play 1"));
  ASSERT_EQ(kill(engine->processID(), SIGSTOP), 0);
  harness->call([](MediaEngine& its) { its.pause(); });
  ASSERT_TRUE(harness->waitForEvent("pause"));
  EXPECT_EQ(harness->count("fail"), 0);
}

TEST_F(RemoteEngineTest, SurvivesADeathWhileLoadingAndWithoutAnItem) {
  make();
  load("clip.mp4");
  killAndWait(SIGKILL);
  ASSERT_TRUE(harness->waitForEvent("end"));
  EXPECT_EQ(harness->count("ready"), 1);
  EXPECT_EQ(harness->count("play 1"), 1);
  harness->call([](MediaEngine& its) { its.unload(); });
  EXPECT_FALSE(harness->frame());
  const pid_t idle = engine->processID();
  ASSERT_EQ(kill(idle, SIGKILL), 0);
  ASSERT_TRUE(harness->waitUntil([&] { return engine->processID() < 0; }));
  load("clip.mp4");
  ASSERT_TRUE(harness->waitForEvent("end"));
}

TEST_F(RemoteEngineTest, FailsALoadIfTheProgramIsMissing) {
  auto setup = processesForTests();
  setup.program = "/nowhere/tvvorlane-media";
  make(setup);
  load("clip.mp4");
  ASSERT_TRUE(harness->waitForEvent("fail"));
  EXPECT_EQ(harness->misplacedEvents(), 0);
  setup.program = "/bin/true";
  make(setup);
  load("clip.mp4");
  ASSERT_TRUE(harness->waitForEvent("fail"));
}

TEST_F(RemoteEngineTest, KeepsASpareProcessReady) {
  auto setup = processesForTests();
  setup.spareDelay = {};
  make(setup);
  load("clip.mp4");
  const pid_t first = engine->processID();
  ASSERT_TRUE(harness->waitForEvent("end"));
  ASSERT_TRUE(harness->waitUntil([&] { return engine->pool().hasSpare(); }));
  killAndWait(SIGKILL);
  EXPECT_NE(engine->processID(), first);
  const pid_t second = engine->processID();
  harness.reset();
  EXPECT_TRUE(platform::WorkerThreads::waitForAll(std::chrono::seconds(30)));
  EXPECT_NE(kill(second, 0), 0);
}

}  // namespace
}  // namespace testing_media
