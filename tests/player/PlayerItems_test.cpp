// Changes of the current item: ends, failures, removals.

#include <utility>

#include "platform/media/MediaLogKeys.h"
#include "tests/player/PlayerFixture.h"

namespace {

using platform::MediaTime;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using State = TVSPlaybackState;

TEST_F(TVSPlayerTest, LaterItemsUseTheirOwnStartAndEndTimes) {
  player->setElapsedTime(2.5);
  playlist = playlistOf({});
  for (const char* name : {"clip", "long"}) playlist->appendMediaItem(item(name));
  playlist->trackList()[1]->setMetadata(platform::kMediaItemStartTime, 3.0);
  playlist->trackList()[1]->setMetadata(platform::kMediaItemForwardEndTime, 3.5);
  std::vector<double> positions;
  bool begins = true;
  events.onEvent = [&](const std::string& event) {
    // On a slow machine playback may stall, which posts further "playing" events.
    if (event.starts_with("end") || (event == "playing" && std::exchange(begins, false)))
      positions.push_back(player->elapsedTime());
    if (event.starts_with("did")) begins = true;
  };
  player->setPlaylist(playlist);
  ASSERT_TRUE(untilEvent("stopped"));
  EXPECT_THAT(positions, ElementsAre(testing::Gt(2.4), near(3), testing::Gt(2.9), near(3.5)));
}

TEST_F(TVSPlayerTest, EndTimesSetOnTheItem) {
  beginPaused({"clip"});
  player->setMediaItemEndAction(TVSMediaItemEndAction::Pause);
  player->currentPlayerItem()->setForwardPlaybackEndTime(MediaTime::seconds(0.6));
  player->currentPlayerItem()->setReversePlaybackEndTime(MediaTime::seconds(0.3));
  player->play();
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_THAT(player->elapsedTime(), near(0.6));
  EXPECT_THAT(events.take(), ElementsAre("playing", "end clip", "paused"));
  player->setRateUsedForPlayback(-1);
  player->play();
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_THAT(player->elapsedTime(), near(0.3));
  EXPECT_THAT(events.take(), ElementsAre("playing", "end clip", "paused"));
  player->currentPlayerItem()->setReversePlaybackEndTime(MediaTime::indefinite());
  player->play();
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_EQ(player->elapsedTime(), 0);
}

TEST_F(TVSPlayerTest, EndActionAdvancePlaysThePlaylistAndStops) {
  begin({"a", "b"});
  ASSERT_TRUE(untilEvent("stopped"));
  EXPECT_THAT(events.take(), ElementsAre("loading", "playing", "end a", "will a", "did b",
                                         "loading", "playing", "end b", "finished", "stopped"));
  EXPECT_EQ(player->currentPlayerItem(), nullptr);
  EXPECT_THAT(playlist->trackList(), testing::SizeIs(1))
      << "a windowed playlist removes played items";
}

TEST_F(TVSPlayerTest, EndActionPauseStaysOnTheLastFrame) {
  player->setMediaItemEndAction(TVSMediaItemEndAction::Pause);
  beginAndPlay({"a", "b"});
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_THAT(events.take(), ElementsAre("end a", "paused"));
  EXPECT_THAT(player->elapsedTime(), near(1));
  ASSERT_TRUE(seek(0.5));
  ASSERT_TRUE(seek(0.8));
  EXPECT_THAT(player->elapsedTime(), near(0.8));
  EXPECT_THAT(events.take(), IsEmpty());
  player->play();
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_THAT(events.take(), ElementsAre("playing", "end a", "paused"));
}

TEST_F(TVSPlayerTest, EndActionNoneContinuesAfterASeek) {
  player->setMediaItemEndAction(TVSMediaItemEndAction::None);
  const auto elapsed = player->addElapsedTimeObserver([](auto...) {});
  beginAndPlay({"a", "b"});
  ASSERT_TRUE(untilEvent("end a"));
  EXPECT_EQ(player->state(), State::Playing);
  EXPECT_EQ(player->rate(), 0);
  // One-shot timers of the engine expire. A repeating timer of the player would never end.
  EXPECT_TRUE(bench->until([] {
    return !platform::Platform::current().mainQueue().nextDeadline();
  })) << "a timer repeats at the end";
  player->setElapsedTime(0.2);
  ASSERT_TRUE(until([&] { return player->rate() == 1; }));
  EXPECT_TRUE(untilPosition([](double at) { return at > 0.3 && at < 0.9; }));
  EXPECT_THAT(events.take(), ElementsAre("end a"));
  player->setElapsedTime(10);
  ASSERT_TRUE(untilEvent("end a"));
  player->pause();
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_THAT(events.take(), ElementsAre("end a", "paused"));
}

TEST_F(TVSPlayerTest, FailedItemsAreSkippedAndTheLastOneRemains) {
  const platform::Error forbidden{std::string(platform::kURLErrorDomain), 403, {}, {}, {}};
  const double before = platform::Platform::current().clock().date().secondsSince1970;
  begin({"missing", "a", "damaged", "refused"});
  ASSERT_TRUE(untilEvent("did refused"));
  ASSERT_TRUE(until([&] { return player->rate() == 1; }));
  EXPECT_THAT(events.take(),
              ElementsAre("loading", "will missing", "did a", "playing", "end a", "will a",
                          "did damaged", "loading", "will damaged", "did refused", "playing"));
  // The request for the middle of the item fails.
  ASSERT_TRUE(untilEvent("loading"));
  current()->answerWith([&](auto& request) { request.finishLoadingWithError(forbidden); });
  ASSERT_TRUE(untilEvent("stopped"));
  // On a busy machine playback may have stalled and continued before.
  EXPECT_THAT(events.take(),
              AnyOf(ElementsAre("loading", "stopped"), ElementsAre("loading", "playing", "stopped"),
                    ElementsAre("loading", "playing", "loading", "stopped")));
  ASSERT_NE(player->currentPlayerItem(), nullptr);
  EXPECT_EQ(player->currentPlayerItem()->status(), platform::PlayerItemStatus::Failed);
  ASSERT_TRUE(player->currentPlayerItem()->error());
  EXPECT_EQ(player->currentPlayerItem()->error()->code, 403);
  const auto log = *player->errorLog();
  const struct {
    const char* item;
    std::string_view domain;
    std::int64_t code;
  } entries[] = {
      {"missing", platform::kURLErrorDomain, -1100},
      {"damaged", platform::kMediaErrorDomain, -11828},
      {"refused", platform::kURLErrorDomain, 403},
  };
  std::size_t index = 0;
  for (const platform::Value& each : log) {
    ASSERT_LT(index, std::size(entries));
    SCOPED_TRACE(entries[index].item);
    const auto& entry = *each.asDictionary();
    EXPECT_EQ(entry.string(platform::kErrorLogDomain), entries[index].domain);
    EXPECT_EQ(entry.number(platform::kErrorLogStatusCode), platform::Number(entries[index].code));
    EXPECT_GE(entry.date(platform::kErrorLogDate)->secondsSince1970, before);
    // The entries of the failed requests for segments precede that of the item.
    if (entry.string(platform::kErrorLogURI) == bench->url(entries[index].item)) ++index;
  }
  EXPECT_EQ(index, std::size(entries));
  player->stop();
  EXPECT_NE(player->currentPlayerItem(), nullptr);
  EXPECT_THAT(events.take(), IsEmpty());
}

TEST_F(TVSPlayerTest, ManyFailuresStopOnceAndLimitTheErrorLog) {
  begin(Texts(150, "missing"));
  ASSERT_TRUE(untilEvent("stopped"));
  EXPECT_EQ(events.take().back(), "stopped");
  EXPECT_EQ(player->errorLog()->size(), 100U);
}

TEST_F(TVSPlayerTest, StopDuringARestartTakesEffect) {
  beginAndPlay({"a"});
  ASSERT_TRUE(untilEvent("stopped"));
  playlist->appendMediaItem(item("b"));
  events.take();
  events.onEvent = [&](const std::string&) { player->stop(); };
  player->play();
  bench->waitForIdle();
  EXPECT_THAT(events.take(), ElementsAre("will a"));
  EXPECT_EQ(player->currentMediaItem(), playlist->trackList()[0]);
}

TEST_F(TVSPlayerTest, ReplacingThePlaylistPostsNoItemChange) {
  beginPaused({"clip"});
  ASSERT_TRUE(seek(2));
  begin({"b"});
  EXPECT_EQ(player->state(), State::Loading);
  ASSERT_TRUE(untilEvent("paused"));
  EXPECT_THAT(events.take(), ElementsAre("loading", "paused"));
  EXPECT_EQ(player->elapsedTime(), 0);
  player->setPlaylist(playlistOf({}));
  EXPECT_THAT(events.take(), ElementsAre("stopped"));
  player->play();
  EXPECT_EQ(player->state(), State::Stopped);
}

TEST_F(TVSPlayerTest, ChangeMediaInDirection) {
  begin({"a", "b"}, false);
  ASSERT_TRUE(untilEvent("playing"));
  events.take();
  player->changeMediaInDirection(TVSMediaDirection::Previous);
  EXPECT_THAT(events.take(), IsEmpty());
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_THAT(events.take(), ElementsAre("will a", "did b", "loading"));
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_THAT(events.take(), IsEmpty());
  player->changeMediaInDirection(TVSMediaDirection::Previous);
  EXPECT_THAT(events.take(), ElementsAre("will b", "did a"));
  EXPECT_TRUE(untilEvent("playing"));
}

}  // namespace
