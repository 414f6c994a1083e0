// Controls of the player and the resulting states.

#include <cmath>
#include <limits>

#include "tests/player/PlayerFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using State = TVSPlaybackState;

TEST_F(TVSPlayerTest, LoadsAtOnceAndAnnouncesInTheNextTurn) {
  begin({"clip"});
  EXPECT_EQ(player->state(), State::Loading);
  EXPECT_EQ(player->currentMediaItem(), playlist->currentItem());
  EXPECT_EQ(player->rate(), 0);
  EXPECT_EQ(player->duration(), TVSDurationIndefinite);
  EXPECT_EQ(player->currentPlayerItem()->status(), platform::PlayerItemStatus::Unknown);
  EXPECT_THAT(events.all(), IsEmpty());
  bench->turn();
  ASSERT_FALSE(events.all().empty());
  ASSERT_TRUE(untilEvent("playing"));
  EXPECT_THAT(events.take(), ElementsAre("loading", "playing"));
  EXPECT_EQ(player->currentPlayerItem()->status(), platform::PlayerItemStatus::ReadyToPlay);
  EXPECT_THAT(player->duration(), near(3));
  EXPECT_EQ(player->rate(), 1);
  EXPECT_TRUE(untilPosition([](double at) { return at > 0.5; }));
}

TEST_F(TVSPlayerTest, PauseBeforeSetPlaylistTakesEffect) {
  beginPaused({"clip"});
  EXPECT_EQ(player->elapsedTime(), 0);
  EXPECT_EQ(player->rate(), 0);
  ASSERT_TRUE(seek(1));
  EXPECT_THAT(player->elapsedTime(), near(1));
  EXPECT_THAT(events.take(), IsEmpty());
}

TEST_F(TVSPlayerTest, OppositeCallsInOneTurnAnnounceNothing) {
  beginAndPlay({"clip"});
  player->pause();
  EXPECT_EQ(player->state(), State::Playing) << "the pause is not complete";
  player->play();
  ASSERT_TRUE(seek(1));
  EXPECT_TRUE(untilPosition([](double at) { return at > 1.2; }));
  EXPECT_THAT(events.take(), Not(Contains("paused")));
  player->play();
  player->pause();
  ASSERT_TRUE(untilEvent("paused"));
  player->play();
  player->pause();
  ASSERT_TRUE(seek(0.5));
  EXPECT_THAT(player->elapsedTime(), near(0.5));
  EXPECT_THAT(events.take(), ElementsAre("paused"));
}

/// The start point of the first item. `before` and `after` run before and after setPlaylist().
struct StartCase {
  const char* name;
  std::function<void(TVSPlayer&)> before;
  std::function<void(TVSPlayer&)> after;
  double expected;
};

TEST_F(TVSPlayerTest, StartPoints) {
  beginPaused({"dated"});
  ASSERT_TRUE(player->playbackDate());
  const double begin = player->playbackDate()->secondsSince1970;
  const auto none = [](TVSPlayer&) {};
  const auto seconds = [](double value) {
    return [value](TVSPlayer& p) { p.setElapsedTime(value); };
  };
  const auto fraction = [](double value) {
    return [value](TVSPlayer& p) { p.setStartPosition(value); };
  };
  const auto date = [begin](double value) {
    return [value, begin](TVSPlayer& p) { p.setPlaybackDate({begin + value}); };
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const StartCase cases[] = {
      {"start time of the item", none, none, 1},
      {"seconds before", seconds(1.4), none, 1.4},
      {"seconds after", none, seconds(1.4), 1.4},
      {"fraction before", fraction(0.5), none, 1.5},
      {"fraction after", none, fraction(0.25), 0.75},
      {"fraction beyond 1", fraction(7), none, 3},
      {"fraction replaces seconds", seconds(1.4), fraction(0.75), 2.25},
      {"seconds replace fraction", fraction(0.75), seconds(1.4), 1.4},
      {"date before", date(1.8), none, 1.8},
      {"date after", none, date(2.2), 2.2},
      {"another date after", date(1.8), date(2.2), 2.2},
      {"date has precedence over seconds", seconds(1.4), date(2.2), 2.2},
      {"seconds replace date", date(2.2), seconds(1.4), 1.4},
      {"not finite", seconds(nan), fraction(INFINITY), 1},
      {"beyond the end", none, seconds(1e9), 3},
      {"before the beginning", none, seconds(-3), 0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    player = std::make_shared<TVSPlayer>("test");
    player->pause();
    const auto dated = item("dated");
    dated->setMetadata(platform::kMediaItemStartTime, 1.0);
    test.before(*player);
    playlist =
        std::make_shared<TVSPlaylist>(std::vector<std::shared_ptr<TVSMediaItem>>{dated}, 0, false);
    player->setPlaylist(playlist);
    test.after(*player);
    ASSERT_TRUE(until([&] { return player->state() == State::Paused; }));
    EXPECT_THAT(player->elapsedTime(), near(test.expected));
    ASSERT_TRUE(player->playbackDate());
    EXPECT_THAT(player->playbackDate()->secondsSince1970 - begin, near(test.expected));
  }
}

TEST_F(TVSPlayerTest, MediaWithoutDatesIgnoreAStartDate) {
  player->setElapsedTime(1.4);
  player->setPlaybackDate({1e9});
  beginPaused({"clip"});
  EXPECT_THAT(player->elapsedTime(), near(1.4));
}

TEST_F(TVSPlayerTest, SeeksDoNotChangeTheState) {
  beginAndPlay({"clip"});
  player->setElapsedTime(2.5);
  EXPECT_EQ(player->elapsedTime(), 2.5) << "the target of the seek";
  ASSERT_TRUE(seek(1));
  EXPECT_THAT(player->elapsedTime(), testing::AllOf(testing::Ge(0.9), testing::Lt(2.5)))
      << "the last seek counts";
  player->pause();
  ASSERT_TRUE(untilEvent("paused"));
  ASSERT_TRUE(seek(0.5));
  EXPECT_THAT(player->elapsedTime(), near(0.5));
  ASSERT_TRUE(seek(2));
  EXPECT_THAT(player->elapsedTime(), near(2));
  ASSERT_TRUE(seek(1e9));
  EXPECT_THAT(player->elapsedTime(), near(3));
  ASSERT_TRUE(seek(-1));
  EXPECT_EQ(player->elapsedTime(), 0);
  EXPECT_THAT(events.take(), ElementsAre("paused"));
}

TEST_F(TVSPlayerTest, Scanning) {
  beginAndPlay({"long", "b"});
  const auto runsAt = [&](double rate, State state) {
    return until([&] { return player->rate() == rate; }) && player->state() == state;
  };
  player->setRateUsedForPlayback(1.5);
  ASSERT_TRUE(runsAt(1.5, State::Playing));
  player->scanAtRate(4);
  ASSERT_TRUE(runsAt(4, State::Scanning));
  player->scanAtRate(2);
  ASSERT_TRUE(runsAt(2, State::Playing));
  ASSERT_TRUE(seek(5));
  player->scanAtRate(-4);
  ASSERT_TRUE(runsAt(-4, State::Scanning));
  EXPECT_TRUE(untilPosition([](double at) { return at < 4; }));
  EXPECT_EQ(player->state(), State::Scanning);
  ASSERT_TRUE(runsAt(1.5, State::Playing)) << "normal playback from the beginning";
  EXPECT_LT(player->elapsedTime(), 4);
  player->scanAtRate(8);
  ASSERT_TRUE(runsAt(8, State::Scanning));
  player->scanAtRate(0);
  ASSERT_TRUE(runsAt(1.5, State::Playing));
  ASSERT_TRUE(seek(19));
  events.take();
  player->scanAtRate(8);
  ASSERT_TRUE(untilEvent("did b"));
  ASSERT_TRUE(runsAt(1.5, State::Playing));
  // A superset, because playback may stall in between.
  EXPECT_THAT(events.take(), testing::IsSupersetOf({"scanning", "end long", "will long", "did b",
                                                    "loading", "playing"}));
}

TEST_F(TVSPlayerTest, InvalidateDestroysTheEngineAndDisablesAllCalls) {
  beginAndPlay({"a", "b"});
  player->invalidate();
  EXPECT_THAT(events.take(), ElementsAre("stopped"));
  EXPECT_FALSE(player->hasQueuePlayer());
  player->play();
  player->pause();
  player->stop();
  player->scanAtRate(4);
  player->changeMediaInDirection(TVSMediaDirection::Next);
  player->setElapsedTime(3);
  player->setStartPosition(0.5);
  player->setPlaybackDate({5});
  player->setRateUsedForPlayback(3);
  player->setVolume(0.5F);
  player->setMuted(true);
  player->setPlaylist(playlistOf({"c"}));
  player->invalidate();
  playlist->removeMediaItemAtIndex(0);
  EXPECT_EQ(player->elapsedTime(), 0);
  EXPECT_EQ(player->currentPlayerItem(), nullptr);
  EXPECT_EQ(player->accessLog(), std::nullopt);
  EXPECT_EQ(player->videoOutput(), nullptr);
  bench->waitForIdle();
  EXPECT_EQ(bench->engines(), 0U);
  EXPECT_THAT(events.take(), IsEmpty());
  EXPECT_FALSE(platform::Platform::current().mainQueue().nextDeadline());
}

TEST_F(TVSPlayerTest, TheDelegateCanRejectAllControls) {
  beginPaused({"clip", "b"});
  ASSERT_TRUE(seek(2));
  auto delegate = std::make_shared<RejectingDelegate>();
  player->setPlaybackDelegate(delegate);
  player->setElapsedTime(1);
  player->setPlaybackDate({9});
  player->pause();
  player->play();
  player->scanAtRate(4);
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_THAT(delegate->requests,
              ElementsAre("seek 1", "seek 9", "pause", "play 2", "scan 4", "change 0"));
  EXPECT_THAT(player->elapsedTime(), near(2));
  delegate.reset();
  ASSERT_TRUE(seek(0.5));
  EXPECT_THAT(events.take(), IsEmpty());
  player->play();
  EXPECT_TRUE(untilEvent("playing"));
}

}  // namespace
