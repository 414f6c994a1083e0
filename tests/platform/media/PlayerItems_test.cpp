// From item to item: ends, failures, removals.

#include <gmock/gmock.h>

#include "platform/media/MediaLogKeys.h"
#include "tests/platform/media/PlayerFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = TVSPlaybackState;

TEST_F(TVSPlayerTest, LaterItemsTakeTheirOwnTimes) {
  player->setElapsedTime(8);
  playlist = playlistOf({"a", "b"});
  playlist->trackList()[1]->setMetadata(platform::kMediaItemStartTime, 3.0);
  playlist->trackList()[1]->setMetadata(platform::kMediaItemForwardEndTime, 5.0);
  player->setPlaylist(playlist);
  box.advance(0.5 + 2 + 1.5);
  EXPECT_THAT(events.take(),
              ElementsAre("loading", "playing", "end a", "will a", "did b", "loading", "playing"));
  EXPECT_EQ(player->elapsedTime(), 4.5);
  box.advance(0.5);
  EXPECT_THAT(events.take(), ElementsAre("end b", "finished", "stopped"));
}

TEST_F(TVSPlayerTest, PreparesTheNextItemForTheEndOfTheCurrentOne) {
  box.media().add("long", {.loadDelay = 0.5, .duration = 100});
  beginAndPlay({"long", "missing", "b"});
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
    box.advance(step.seconds);
    EXPECT_EQ(prepared(), step.prepared) << step.what;
  }
  events.take();
  box.advance(10);
  EXPECT_THAT(events.take(), ElementsAre("end long", "will long", "did missing", "loading",
                                         "will missing", "did b"))
      << "one that fails is told of in its turn";
  EXPECT_EQ(player->errorLog()->size(), 1U);
  box.advance(0.5);
  EXPECT_EQ(player->state(), State::Playing);
  engine().clearCalls();
  playlist->appendMediaItem(mediaItem("a"));
  box.run();
  EXPECT_THAT(engine().calls(), ElementsAre("prepare a"));
  player->stop();
  EXPECT_EQ(prepared(), "-");
  EXPECT_EQ(box.mainQueue().nextDeadline(), std::nullopt);
}

TEST_F(TVSPlayerTest, EndTimesSetOnTheItem) {
  beginAndPlay({"a"});
  player->setMediaItemEndAction(TVSMediaItemEndAction::Pause);
  player->currentPlayerItem()->setForwardPlaybackEndTime(platform::MediaTime::seconds(2));
  player->currentPlayerItem()->setReversePlaybackEndTime(platform::MediaTime::seconds(1));
  box.advance(5);
  EXPECT_EQ(player->elapsedTime(), 2);
  player->setRateUsedForPlayback(-1);
  player->play();
  box.advance(5);
  EXPECT_EQ(player->elapsedTime(), 1);
  EXPECT_THAT(events.take(), ElementsAre("end a", "paused", "playing", "end a", "paused"));
  player->currentPlayerItem()->setReversePlaybackEndTime(platform::MediaTime::indefinite());
  player->play();
  box.advance(5);
  EXPECT_EQ(player->elapsedTime(), 0);
}

TEST_F(TVSPlayerTest, EndActionAdvanceGoesThroughThePlaylistAndStops) {
  begin({"a", "b"});
  box.advance(100);
  EXPECT_THAT(events.take(), ElementsAre("loading", "playing", "end a", "will a", "did b",
                                         "loading", "playing", "end b", "finished", "stopped"));
  EXPECT_EQ(player->currentPlayerItem(), nullptr);
  EXPECT_FALSE(engine().isLoaded());
  EXPECT_THAT(playlist->trackList(), testing::SizeIs(1)) << "windowed: what was played has left";
}

TEST_F(TVSPlayerTest, EndActionPauseStaysOnTheLastFrame) {
  player->setMediaItemEndAction(TVSMediaItemEndAction::Pause);
  beginAndPlay({"a", "b"});
  box.advance(100);
  EXPECT_THAT(events.take(), ElementsAre("end a", "paused"));
  EXPECT_EQ(player->elapsedTime(), 10);
  player->setElapsedTime(9);
  box.run();
  EXPECT_FALSE(engine().isRunning());
  player->play();
  box.advance(1);
  EXPECT_THAT(events.take(), ElementsAre("playing", "end a", "paused"));
}

TEST_F(TVSPlayerTest, EndActionNoneGoesOnAfterASeek) {
  player->setMediaItemEndAction(TVSMediaItemEndAction::None);
  const auto elapsed = player->addElapsedTimeObserver([](auto...) {});
  beginAndPlay({"a", "b"});
  box.advance(100);
  EXPECT_THAT(events.take(), ElementsAre("end a"));
  EXPECT_EQ(player->state(), State::Playing);
  EXPECT_EQ(player->rate(), 0);
  EXPECT_FALSE(box.mainQueue().nextDeadline()) << "nothing ticks at the end";
  player->setElapsedTime(3);
  box.advance(1);
  EXPECT_EQ(player->elapsedTime(), 4);
  EXPECT_EQ(player->rate(), 1);
  EXPECT_THAT(events.take(), IsEmpty());
  player->setElapsedTime(10);
  box.run();
  EXPECT_THAT(events.take(), ElementsAre("end a"));
  player->pause();
  box.run();
  EXPECT_THAT(events.take(), ElementsAre("paused"));
}

TEST_F(TVSPlayerTest, FailingItemsAreLeftAndTheLastOneStays) {
  const platform::Error error{std::string(platform::kMediaErrorDomain), -11821, "broken", {}, {}};
  box.media().add("broken", {.loadDelay = 0.5, .failure = sim::MediaScript::Failure{2, error}});
  begin({"missing", "a", "broken"});
  box.advance(100);
  EXPECT_THAT(events.take(), ElementsAre("loading", "will missing", "did a", "playing", "end a",
                                         "will a", "did broken", "loading", "playing", "stopped"));
  ASSERT_NE(player->currentPlayerItem(), nullptr);
  EXPECT_EQ(player->currentPlayerItem()->status(), platform::PlayerItemStatus::Failed);
  EXPECT_EQ(player->currentPlayerItem()->error(), error);
  const auto log = *player->errorLog();
  ASSERT_EQ(log.size(), 2U);
  const auto& first = *log[0].asDictionary();
  EXPECT_EQ(first.string(platform::kErrorLogURI), "missing");
  EXPECT_EQ(first.number(platform::kErrorLogStatusCode), platform::Number(-1100));
  EXPECT_EQ(first.string(platform::kErrorLogDomain), platform::kURLErrorDomain);
  const auto& second = *log[1].asDictionary();
  EXPECT_EQ(second.string(platform::kErrorLogComment), "broken");
  EXPECT_EQ(second.date(platform::kErrorLogDate),
            (platform::Date{sim::VirtualClock::kStartSeconds + 0.5 + 10 + 2}));

  player->stop();
  EXPECT_NE(player->currentPlayerItem(), nullptr);
  EXPECT_THAT(events.take(), IsEmpty());
}

TEST_F(TVSPlayerTest, AThousandFailuresEndInOneStopAndABoundedLog) {
  begin(std::vector<std::string>(1000, "missing"));
  box.run();
  EXPECT_EQ(player->state(), State::Stopped);
  EXPECT_EQ(events.take().back(), "stopped");
  EXPECT_EQ(player->errorLog()->size(), 100U);
}

TEST_F(TVSPlayerTest, AStopInTheMiddleOfBeginningAnewIsObeyed) {
  beginAndPlay({"a"});
  box.advance(10);
  playlist->appendMediaItem(mediaItem("b"));
  events.take();
  events.onEvent = [&](const std::string&) { player->stop(); };
  player->play();
  box.advance(1);
  EXPECT_THAT(events.take(), ElementsAre("will a"));
  EXPECT_EQ(player->currentMediaItem()->url(), "a");
}

TEST_F(TVSPlayerTest, AReplacedPlaylistIsNoChangeOfItem) {
  beginAndPlay({"a"});
  box.advance(3);
  begin({"b"});
  EXPECT_EQ(player->state(), State::Loading);
  box.advance(1.5);
  EXPECT_THAT(events.take(), ElementsAre("loading", "playing"));
  EXPECT_EQ(player->elapsedTime(), 1);
  player->setPlaylist(playlistOf({}));
  EXPECT_THAT(events.take(), ElementsAre("stopped"));
  player->play();
  EXPECT_EQ(player->state(), State::Stopped);
}

TEST_F(TVSPlayerTest, ChangingMediaByTheRemote) {
  playlist = playlistOf({"a", "b"}, false);
  player->setPlaylist(playlist);
  box.advance(0.5);
  events.take();
  player->changeMediaInDirection(TVSMediaDirection::Previous);
  EXPECT_THAT(events.take(), IsEmpty());
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_THAT(events.take(), ElementsAre("will a", "did b", "loading"));
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_THAT(events.take(), IsEmpty());
  player->changeMediaInDirection(TVSMediaDirection::Previous);
  EXPECT_THAT(events.take(), ElementsAre("will b", "did a"));
}

}  // namespace
