#include "sim/MediaEngine.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/Runner.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Writes down what an engine reports, with the virtual time and position at which it came.
class Reports final : public platform::MediaEngineObserver {
 public:
  void engineDidBecomeReady(std::uint64_t generation) override { _add(generation, "ready"); }
  void engineDidPlay(std::uint64_t generation, double rate) override {
    _add(generation, "play " + platform::Number(rate).description());
  }
  void engineDidPause(std::uint64_t generation) override { _add(generation, "pause"); }
  void engineDidStall(std::uint64_t generation) override { _add(generation, "stall"); }
  void engineDidSeek(std::uint64_t generation) override { _add(generation, "seek"); }
  void engineDidReachEnd(std::uint64_t generation) override { _add(generation, "end"); }
  void engineDidFail(std::uint64_t generation, const platform::Error& error) override {
    _add(generation, "fail " + std::to_string(error.code));
  }
  void engineFactsDidChange(std::uint64_t generation) override { _add(generation, "facts"); }
  void engineSelectionDidChange(std::uint64_t generation,
                                const std::string& characteristic) override {
    _add(generation, "selection " + characteristic);
  }
  std::vector<std::string> take() { return std::exchange(_all, {}); }
  std::uint64_t expectedGeneration = 1;

 private:
  void _add(std::uint64_t generation, std::string text) {
    EXPECT_EQ(generation, expectedGeneration);
    _all.push_back(std::move(text));
  }
  std::vector<std::string> _all;
};

class MediaEngineTest : public testing::Test {
 protected:
  MediaEngineTest() {
    engine->setObserver(&reports);
    library.add("a", {.loadDelay = 0.5, .duration = 10});
  }
  platform::MediaLoad loadOf(std::string url) {
    platform::MediaLoad load;
    load.generation = ++reports.expectedGeneration;
    load.item = std::make_shared<TVSURLMediaItem>(std::move(url), std::vector<std::string>{});
    return load;
  }
  void advance(double seconds) { runner.advance(platform::durationFromSeconds(seconds)); }

  sim::Runner runner;
  sim::MediaLibrary library;
  Reports reports;
  std::unique_ptr<sim::MediaEngine> engine =
      std::make_unique<sim::MediaEngine>(runner.mainQueue(), runner.clock(), library);
};

TEST_F(MediaEngineTest, ReportsNothingFromInsideACall) {
  engine->load(loadOf("missing"));
  EXPECT_THAT(reports.take(), IsEmpty());
  runner.run();
  EXPECT_THAT(reports.take(), ElementsAre("fail -1100"));
  engine->play(1);
  engine->seek(3);
  advance(5);
  EXPECT_THAT(reports.take(), IsEmpty()) << "only another load helps";
}

TEST_F(MediaEngineTest, NothingComesAfterUnloadAnotherLoadOrDestruction) {
  engine->load(loadOf("a"));
  advance(0.5);
  reports.take();
  engine->pause();
  engine->unload();
  advance(20);
  EXPECT_THAT(reports.take(), IsEmpty());

  engine->load(loadOf("missing"));
  engine->load(loadOf("a"));
  advance(0.5);
  EXPECT_THAT(reports.take(), ElementsAre("ready", "play 1"));

  engine->play(2);
  engine.reset();
  advance(20);
  EXPECT_THAT(reports.take(), IsEmpty());
  EXPECT_THAT(library.engines(), IsEmpty());
}

TEST_F(MediaEngineTest, APausedLiveStreamLosesWhatItNoLongerKeeps) {
  library.add("a", {.loadDelay = 0.5, .liveWindow = 30});
  engine->load(loadOf("a"));
  advance(0.5);
  engine->pause();
  advance(100);
  EXPECT_EQ(engine->position(), 30.5);
  engine->play(1);
  advance(1);
  EXPECT_EQ(engine->facts().seekable, (std::vector<platform::TimeRange>{{101.5, 30}}));
  EXPECT_EQ(engine->position(), 101.5);
}

}  // namespace
