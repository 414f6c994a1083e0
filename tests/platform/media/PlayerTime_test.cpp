// What a player does at which time, and what it asks of an engine that has nothing to report: to
// be seen only where time is the test's own and the engine tells how it was called.

#include <gmock/gmock.h>

#include "sim/Box.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/player/PlayerEvents.h"

namespace {

using testing::ElementsAre;

class PlayerTimeTest : public testing::Test {
 protected:
  PlayerTimeTest() {
    for (const char* url : {"a", "b", "c"})
      box.mediaLibrary().add(url, {.loadDelay = 0.5, .duration = 10});
  }
  void begin(const Texts& urls) {
    playlist = playlistOf(urls);
    player->setPlaylist(playlist);
  }
  void advance(double seconds) { box.advance(platform::durationFromSeconds(seconds)); }
  sim::MediaEngine& engine() { return *box.mediaLibrary().engines().back(); }

  sim::Box box{{.logLevel = 0}};
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  PlayerEvents events{*player};
  std::shared_ptr<TVSPlaylist> playlist;
};

TEST_F(PlayerTimeTest, ElapsedTimeIsToldOnceASecondAndMoreOftenInAScan) {
  begin({"a"});
  advance(0.5);
  std::vector<std::pair<double, bool>> told;
  auto token =
      player->addElapsedTimeObserver([&](double elapsed, const auto&, double, bool scanning) {
        told.emplace_back(elapsed, scanning);
      });
  advance(2.5);
  player->scanAtRate(-4);
  advance(0.5);
  EXPECT_THAT(told, ElementsAre(std::pair(1.0, false), std::pair(2.0, false), std::pair(1.5, true),
                                std::pair(0.5, true)));
  player->play();
  box.run();
  token.reset();
  EXPECT_EQ(*box.mainQueue().nextDeadline() - box.clock().now(), platform::durationFromSeconds(9.5))
      << "only the end of the item is awaited";
}

TEST_F(PlayerTimeTest, BufferingIsToldBeforeItIsReadyAndMetadataAtTheirTime) {
  platform::TimedMetadataItem chapter;
  chapter.value = "chapter";
  box.mediaLibrary().add("a", {.loadDelay = 1,
                               .duration = 10,
                               .timedMetadata = {{.position = 2, .items = {chapter}}},
                               .buffering = {{0.25, 20}, {0.5, 60}}});
  int told = 0;
  const auto token = player->addFactsObserver([&] { ++told; });
  begin({"a"});
  EXPECT_EQ(player->bufferingPercent(), std::nullopt);
  advance(0.5);
  EXPECT_EQ(player->bufferingPercent(), 60);
  EXPECT_EQ(told, 2);
  advance(1);
  EXPECT_EQ(player->bufferingPercent(), std::nullopt);
  EXPECT_THAT(player->currentPlayerItem()->timedMetadata(), testing::IsEmpty());
  advance(2);
  ASSERT_THAT(player->currentPlayerItem()->timedMetadata(), testing::SizeIs(1));
  EXPECT_EQ(player->currentPlayerItem()->timedMetadata()[0].value, platform::Value("chapter"));
  EXPECT_EQ(told, 3);
}

TEST_F(PlayerTimeTest, APausedLiveStreamLosesWhatItNoLongerKeeps) {
  box.mediaLibrary().add("live", {.loadDelay = 0.5, .liveWindow = 30});
  begin({"live"});
  player->pause();
  advance(100);
  EXPECT_EQ(player->elapsedTime(), 30.5);
  player->play();
  advance(1);
  EXPECT_THAT(player->cachedSeekableTimeRanges(), ElementsAre(platform::TimeRange{101, 30}));
  EXPECT_EQ(player->elapsedTime(), 101);
}

TEST_F(PlayerTimeTest, PreparesTheNextItemForTheEndOfTheCurrentOne) {
  box.mediaLibrary().add("long", {.loadDelay = 0.5, .duration = 100});
  begin({"long", "missing", "b"});
  advance(0.5);
  const auto prepared = [&] {
    const auto item = engine().preparedItem();
    return item ? item->url() : "-";
  };
  // What is done, how long it takes, and what is prepared then.
  const struct {
    const char* what;
    std::function<void()> body;
    double seconds;
    const char* prepared;
  } steps[] = {
      {"the end is far", [] {}, 89.75, "-"},
      {"it is near", [] {}, 0.25, "missing"},
      {"back to where it is far", [&] { player->setElapsedTime(50); }, 0, "-"},
      {"twice as fast", [&] { player->setRateUsedForPlayback(2); }, 14.75, "-"},
      {"near at that speed", [] {}, 0.5, "missing"},
      {"nothing follows", [&] { player->setMediaItemEndAction(TVSMediaItemEndAction::Pause); }, 0,
       "-"},
      {"it does again", [&] { player->setMediaItemEndAction(TVSMediaItemEndAction::Advance); }, 0,
       "missing"},
      {"another follows", [&] { playlist->insertMediaItem(mediaItem("c"), 1); }, 0, "c"},
      {"not any more", [&] { playlist->removeMediaItemAtIndex(1); }, 0, "missing"},
      {"time stands still", [&] { player->pause(); }, 100, "missing"},
      {"far again, and slower",
       [&] {
         player->setElapsedTime(10);
         player->setRateUsedForPlayback(1);
         player->play();
       },
       0, "-"},
      {"an earlier end",
       [&] {
         player->currentPlayerItem()->setForwardPlaybackEndTime(platform::MediaTime::seconds(20));
       },
       0, "missing"},
  };
  for (const auto& step : steps) {
    step.body();
    box.run();
    advance(step.seconds);
    EXPECT_EQ(prepared(), step.prepared) << step.what;
  }
  events.take();
  advance(10);
  EXPECT_THAT(events.take(), ElementsAre("end long", "will long", "did missing", "loading",
                                         "will missing", "did b"))
      << "one that fails is told of in its turn";
  EXPECT_EQ(player->errorLog()->size(), 1U);
  advance(0.5);
  EXPECT_EQ(player->state(), TVSPlaybackState::Playing);
  engine().clearCalls();
  playlist->appendMediaItem(mediaItem("a"));
  box.run();
  EXPECT_THAT(engine().calls(), ElementsAre("prepare a"));
  player->stop();
  EXPECT_EQ(prepared(), "-");
  EXPECT_EQ(box.mainQueue().nextDeadline(), std::nullopt);
}

}  // namespace
