// Observers of a player may call any function and destroy the player.

#include "tests/player/PlayerFixture.h"

namespace {

using State = TVSPlaybackState;

/// A player that emits all kinds of events: a failure, a stall, ends, a scan, a pause.
struct Playthrough {
  explicit Playthrough(PlayerBench& where) : bench(where) {
    for (const char* name : {"missing", "asks", "b"}) playlist->appendMediaItem(item(name));
    player->setPlaylist(playlist);
  }
  std::shared_ptr<RequestRecordingItem> item(const char* name) {
    auto made = std::make_shared<RequestRecordingItem>(bench.url(name), name);
    made->setMetadata(platform::kMediaItemForwardEndTime, name == std::string("asks") ? 1.8 : 0.2);
    items.push_back(made);
    return made;
  }
  /// Waits until the player is paused, stopped or destroyed, or `condition` returns true.
  void until(const std::function<bool()>& condition) {
    EXPECT_TRUE(bench.until([&] {
      if (!player || player->state() == State::Stopped || player->state() == State::Paused)
        return true;
      if (condition()) return true;
      // Answers the requests when the stall has been reported.
      if (player->rate() == 0 && !events.all().empty() && events.all().back() == "loading")
        for (const auto& each : items)
          each->answerWith([&](auto& request) { request.finishLoading(bench.answerTo(request)); });
      return false;
    })) << (player ? stateName(player->state()) : "");
  }
  void playToRest() {
    if (!player) return;
    const auto before = events.all().size();
    player->play();
    if (player && player->state() == State::Paused) {
      EXPECT_TRUE(bench.until([&] { return !player || events.all().size() > before; }));
    }
    until([] { return false; });
  }
  void play() {
    until([&] { return player->rate() != 0; });
    if (player) player->setElapsedTime(0.7);
    until([&] { return player->elapsedTime() > 1.1; });
    if (player) player->scanAtRate(4);
    until([&] { return player->state() == State::Scanning; });
    if (player) player->pause();
    until([] { return false; });
    playToRest();
    playlist->appendMediaItem(item("a"));
    playToRest();
    bench.turn();
  }

  PlayerBench& bench;
  std::vector<std::shared_ptr<RequestRecordingItem>> items;
  std::shared_ptr<TVSPlaylist> playlist = playlistOf({});
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  PlayerEvents events{*player};
};

using Action = std::function<void(Playthrough&)>;
const std::vector<std::pair<std::string, Action>>& actions() {
  static const std::vector<std::pair<std::string, Action>> all = {
      {"drop", [](Playthrough& run) { run.player.reset(); }},
      {"invalidate and drop",
       [](Playthrough& run) {
         run.player->invalidate();
         run.player.reset();
       }},
      {"stop", [](Playthrough& run) { run.player->stop(); }},
      {"stop and play",
       [](Playthrough& run) {
         run.player->stop();
         run.player->play();
       }},
      {"pause", [](Playthrough& run) { run.player->pause(); }},
      {"seek", [](Playthrough& run) { run.player->setElapsedTime(0.5); }},
      {"start elsewhere", [](Playthrough& run) { run.player->setStartPosition(0.5); }},
      {"remove current",
       [](Playthrough& run) {
         if (const auto index = run.playlist->currentIndex())
           run.playlist->removeMediaItemAtIndex(*index);
       }},
      {"remove all others",
       [](Playthrough& run) {
         while (run.playlist->nextItem())
           run.playlist->removeMediaItemAtIndex(*run.playlist->currentIndex() + 1);
       }},
      {"remove all",
       [](Playthrough& run) {
         while (!run.playlist->trackList().empty()) run.playlist->removeMediaItemAtIndex(0);
       }},
      {"change media",
       [](Playthrough& run) { run.player->changeMediaInDirection(TVSMediaDirection::Next); }},
      {"replace the playlist",
       [](Playthrough& run) {
         auto playlist = playlistOf({});
         playlist->appendMediaItem(run.item("b"));
         run.player->setPlaylist(playlist);
       }},
      {"clear the playlist", [](Playthrough& run) { run.player->setPlaylist(nullptr); }},
  };
  return all;
}

TEST(PlayerReentrancy, AnyCallIsAllowedAtAnyEvent) {
  const auto bench = PlayerBench::make();
  Texts undisturbed;
  {
    Playthrough run(*bench);
    run.play();
    undisturbed = run.events.take();
  }
  ASSERT_GT(undisturbed.size(), 14U);
  ASSERT_EQ(undisturbed.back(), "stopped");
  std::size_t number = 0;
  for (const auto& [name, action] : actions()) {
    ++number;
    for (std::size_t at = 0; at < undisturbed.size(); ++at) {
      // In real time each action runs at one event, a different one each time.
      if (!bench->hasVirtualTime() && at != number * 5 % undisturbed.size()) continue;
      SCOPED_TRACE(name + " at event " + std::to_string(at) + ", " + undisturbed[at]);
      Playthrough run(*bench);
      std::size_t count = 0;
      run.events.onEvent = [&, act = action](const std::string&) {
        if (count++ == at && run.player) act(run);
      };
      run.play();
      if (bench->hasVirtualTime()) {
        ASSERT_GT(count, at) << "the run differs before the action";
      }

      std::string last;
      for (const auto& event : run.events.all()) {
        if (event.find(' ') != std::string::npos || event == "finished") continue;
        EXPECT_NE(event, last) << "announced twice";
        last = event;
      }
      if (!run.player) {
        bench->waitForIdle();
        EXPECT_EQ(bench->engines(), 0U);
        continue;
      }
      EXPECT_EQ(last, stateName(run.player->state()));
      EXPECT_EQ(run.player->rate(), 0);
    }
  }
}

TEST_F(TVSPlayerTest, ElapsedTimeObserversMayDestroyThePlayer) {
  begin({"long"});
  int calls = 0;
  const auto first = player->addElapsedTimeObserver([&](auto...) {
    ++calls;
    player.reset();
  });
  const auto second = player->addElapsedTimeObserver([&](auto...) { ++calls; });
  ASSERT_TRUE(until([&] { return calls > 0; }));
  EXPECT_EQ(calls, 2) << "all observers are called";
  bench->waitForIdle();
  EXPECT_EQ(bench->engines(), 0U);
}

}  // namespace
