// What is asked of a player, and the states that follow.

#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include "tests/platform/media/PlayerFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = TVSPlaybackState;

TEST_F(TVSPlayerTest, LoadsAtOnceAndAnnouncesOnTheNextTurn) {
  begin({"a"});
  EXPECT_EQ(player->state(), State::Loading);
  EXPECT_TRUE(engine().isLoaded());
  EXPECT_EQ(player->currentMediaItem(), playlist->currentItem());
  EXPECT_THAT(events.all(), IsEmpty());
  box.run();
  EXPECT_THAT(events.take(), ElementsAre("loading"));
  EXPECT_EQ(player->rate(), 0);
  EXPECT_EQ(player->duration(), TVSDurationIndefinite);
  EXPECT_EQ(player->currentPlayerItem()->status(), platform::PlayerItemStatus::Unknown);

  box.advance(0.5);
  EXPECT_THAT(events.take(), ElementsAre("playing"));
  EXPECT_EQ(player->currentPlayerItem()->status(), platform::PlayerItemStatus::ReadyToPlay);
  EXPECT_EQ(player->duration(), 10);
  EXPECT_EQ(player->rate(), 1);
  box.advance(2);
  EXPECT_EQ(player->elapsedTime(), 2);
}

TEST_F(TVSPlayerTest, PauseBeforeThePlaylistIsRemembered) {
  player->pause();
  begin({"a"});
  EXPECT_FALSE(engine().currentLoad().playing);
  box.advance(1);
  EXPECT_THAT(events.take(), ElementsAre("loading", "paused"));
}

TEST_F(TVSPlayerTest, SecondThoughtsWithinOneTurnAnnounceNothing) {
  beginAndPlay({"a"});
  player->pause();
  EXPECT_EQ(player->state(), State::Playing) << "until time stands still";
  player->play();
  box.run();
  EXPECT_THAT(events.take(), IsEmpty());
  player->play();
  player->pause();
  box.run();
  EXPECT_THAT(events.take(), ElementsAre("paused"));
  player->play();
  player->pause();
  box.run();
  EXPECT_THAT(events.take(), IsEmpty());
  EXPECT_FALSE(engine().isRunning());
}

/// Where the first item begins, by what was set and when.
struct StartCase {
  const char* name;
  std::function<void(TVSPlayer&)> before;
  std::function<void(TVSPlayer&)> after;
  double expected;
};

TEST_F(TVSPlayerTest, StartPoints) {
  const auto none = [](TVSPlayer&) {};
  const auto seconds = [](double value) {
    return [value](TVSPlayer& p) { p.setElapsedTime(value); };
  };
  const auto fraction = [](double value) {
    return [value](TVSPlayer& p) { p.setStartPosition(value); };
  };
  const auto date = [](double value) {
    return [value](TVSPlayer& p) { p.setPlaybackDate({value}); };
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const StartCase cases[] = {
      {"the item's own", none, none, 1},
      {"seconds before", seconds(4), none, 4},
      {"seconds after", none, seconds(4), 4},
      {"fraction before", fraction(0.5), none, 5},
      {"fraction after", none, fraction(0.25), 2.5},
      {"fraction beyond 1", fraction(7), none, 10},
      {"fraction replaces seconds", seconds(4), fraction(0.75), 7.5},
      {"seconds replace fraction", fraction(0.75), seconds(4), 4},
      {"date before", date(1006), none, 6},
      {"date after", none, date(1007), 7},
      {"not finite", seconds(nan), fraction(INFINITY), 1},
      {"beyond the end", none, seconds(1e9), 10},
      {"before the beginning", none, seconds(-3), 0},
  };
  box.media().add("dated", {.loadDelay = 0.5, .duration = 10, .startDate = platform::Date{1000}});
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    player = std::make_shared<TVSPlayer>("test");
    player->setMediaItemEndAction(TVSMediaItemEndAction::None);
    playlist = playlistOf({"dated"});
    playlist->currentItem()->setMetadata(platform::kMediaItemStartTime, 1.0);
    test.before(*player);
    player->setPlaylist(playlist);
    test.after(*player);
    box.advance(0.5);
    EXPECT_EQ(player->state(), State::Playing);
    EXPECT_EQ(player->elapsedTime(), test.expected);
    EXPECT_EQ(player->playbackDate(), (platform::Date{1000 + test.expected}));
  }
}

TEST_F(TVSPlayerTest, StallsAreLoadingAndEndByThemselvesOrByAPause) {
  box.media().add("s", {.loadDelay = 0.5, .duration = 10, .stalls = {{1, 2}, {2, 2}}});
  beginAndPlay({"s"});
  box.advance(1.5);
  EXPECT_THAT(events.take(), ElementsAre("loading"));
  EXPECT_EQ(player->rate(), 0);
  box.advance(1.5);
  EXPECT_THAT(events.take(), ElementsAre("playing"));
  box.advance(1);
  player->pause();
  box.advance(5);
  EXPECT_THAT(events.take(), ElementsAre("loading", "paused"));
}

TEST_F(TVSPlayerTest, SeeksDoNotChangeTheState) {
  box.media().add("slow", {.loadDelay = 0.5, .duration = 10, .seekDelay = 1});
  beginAndPlay({"slow"});
  player->setElapsedTime(3);
  EXPECT_EQ(player->elapsedTime(), 3);
  box.advance(0.5);
  player->setElapsedTime(6);
  box.advance(2);
  EXPECT_EQ(player->elapsedTime(), 7) << "the latest wins, one second after it was asked for";
  player->pause();
  player->setElapsedTime(2);
  box.advance(5);
  EXPECT_EQ(player->elapsedTime(), 2);
  EXPECT_THAT(events.take(), ElementsAre("paused"));
}

TEST_F(TVSPlayerTest, Scanning) {
  beginAndPlay({"a", "b"});
  player->setRateUsedForPlayback(1.5);
  box.run();
  events.take();
  player->scanAtRate(4);
  box.advance(1);
  EXPECT_EQ(player->rate(), 4);
  player->scanAtRate(2);
  box.run();
  EXPECT_EQ(player->rate(), 2);
  player->scanAtRate(-4);
  box.advance(0.5);
  EXPECT_EQ(player->elapsedTime(), 2);
  EXPECT_THAT(events.take(), ElementsAre("scanning", "playing", "scanning"));
  box.advance(1.5);
  EXPECT_EQ(player->elapsedTime(), 1.5) << "rewound to the beginning, then played from there";
  EXPECT_THAT(events.take(), ElementsAre("playing"));
  player->scanAtRate(8);
  box.run();
  player->scanAtRate(0);
  box.run();
  EXPECT_EQ(player->rate(), 1.5);
  EXPECT_THAT(events.take(), ElementsAre("scanning", "playing"));
  player->scanAtRate(8);
  box.advance(5);
  EXPECT_THAT(events.take(),
              ElementsAre("scanning", "end a", "will a", "did b", "loading", "playing"));
  EXPECT_EQ(player->rate(), 1.5);
}

TEST_F(TVSPlayerTest, InvalidateLetsTheEngineGoAndLeavesNothingToDo) {
  beginAndPlay({"a", "b"});
  player->invalidate();
  EXPECT_THAT(events.take(), ElementsAre("stopped"));
  EXPECT_FALSE(player->hasQueuePlayer());
  EXPECT_THAT(box.media().engines(), IsEmpty());
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
  box.advance(10);
  EXPECT_THAT(events.take(), IsEmpty());
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

/// Refuses everything, and remembers what it was asked.
class Refusing : public TVSPlayerPlaybackDelegate {
 public:
  bool playerShouldSeekToTime(TVSPlayer&, double seconds,
                              const std::optional<platform::Date>& date) override {
    return _note("seek " + std::to_string(date ? date->secondsSince1970 : seconds));
  }
  bool playerShouldPlay(TVSPlayer&, double from) override {
    return _note("play " + std::to_string(from));
  }
  bool playerShouldPause(TVSPlayer&) override { return _note("pause"); }
  bool playerShouldScanAtRate(TVSPlayer&, double rate) override {
    return _note("scan " + std::to_string(rate));
  }
  bool playerShouldChangeMediaInDirection(TVSPlayer&, int direction) override {
    return _note("change " + std::to_string(direction));
  }
  Texts asked;

 private:
  bool _note(std::string question) {
    asked.push_back(std::move(question));
    return false;
  }
};

TEST_F(TVSPlayerTest, TheDelegateIsAskedAndObeyed) {
  beginAndPlay({"a", "b"});
  box.advance(2);
  auto delegate = std::make_shared<Refusing>();
  player->setPlaybackDelegate(delegate);
  engine().clearCalls();
  player->setElapsedTime(5);
  player->setPlaybackDate({9});
  player->pause();
  player->play();
  player->scanAtRate(4);
  player->changeMediaInDirection(TVSMediaDirection::Next);
  EXPECT_THAT(delegate->asked, ElementsAre("seek 5.000000", "seek 9.000000", "pause",
                                           "play 2.000000", "scan 4.000000", "change 0"));
  EXPECT_THAT(engine().calls(), IsEmpty());
  delegate.reset();
  player->pause();
  EXPECT_THAT(engine().calls(), ElementsAre("pause"));
}

}  // namespace
