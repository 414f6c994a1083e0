// Observers of a player may call any function and destroy the player.

#include "tests/player/PlayerFixture.h"

namespace {

using State = TVSPlaybackState;

/// A player that emits all kinds of events: a failure, a stall, ends, a scan, a pause.
struct Scene {
  explicit Scene(PlayerBench& where) : bench(where) {
    for (const char* name : {"missing", "asks", "b"}) playlist->appendMediaItem(item(name));
    player->setPlaylist(playlist);
  }
  std::shared_ptr<RequestRecordingItem> item(const char* name) {
    auto made = std::make_shared<RequestRecordingItem>(bench.url(name), name);
    made->setMetadata(platform::kMediaItemForwardEndTime, name == std::string("asks") ? 1.8 : 0.2);
    items.push_back(made);
    return made;
  }
  /// Waits until the player is paused, stopped or destroyed, or `isSo` returns true.
  void until(const std::function<bool()>& isSo) {
    EXPECT_TRUE(bench.until([&] {
      if (!player || player->state() == State::Stopped || player->state() == State::Paused)
        return true;
      if (isSo()) return true;
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

using Action = std::function<void(Scene&)>;
const std::vector<std::pair<std::string, Action>>& actions() {
  static const std::vector<std::pair<std::string, Action>> all = {
      {"drop", [](Scene& scene) { scene.player.reset(); }},
      {"invalidate and drop",
       [](Scene& scene) {
         scene.player->invalidate();
         scene.player.reset();
       }},
      {"stop", [](Scene& scene) { scene.player->stop(); }},
      {"stop and play",
       [](Scene& scene) {
         scene.player->stop();
         scene.player->play();
       }},
      {"pause", [](Scene& scene) { scene.player->pause(); }},
      {"seek", [](Scene& scene) { scene.player->setElapsedTime(0.5); }},
      {"start elsewhere", [](Scene& scene) { scene.player->setStartPosition(0.5); }},
      {"remove current",
       [](Scene& scene) {
         if (const auto index = scene.playlist->currentIndex())
           scene.playlist->removeMediaItemAtIndex(*index);
       }},
      {"remove all others",
       [](Scene& scene) {
         while (scene.playlist->nextItem())
           scene.playlist->removeMediaItemAtIndex(*scene.playlist->currentIndex() + 1);
       }},
      {"remove all",
       [](Scene& scene) {
         while (!scene.playlist->trackList().empty()) scene.playlist->removeMediaItemAtIndex(0);
       }},
      {"change media",
       [](Scene& scene) { scene.player->changeMediaInDirection(TVSMediaDirection::Next); }},
      {"replace the playlist",
       [](Scene& scene) {
         auto playlist = playlistOf({});
         playlist->appendMediaItem(scene.item("b"));
         scene.player->setPlaylist(playlist);
       }},
      {"clear the playlist", [](Scene& scene) { scene.player->setPlaylist(nullptr); }},
  };
  return all;
}

TEST(PlayerReentrancy, AnyCallIsAllowedAtAnyEvent) {
  const auto bench = PlayerBench::make();
  Texts undisturbed;
  {
    Scene scene(*bench);
    scene.play();
    undisturbed = scene.events.take();
  }
  ASSERT_GT(undisturbed.size(), 14U);
  ASSERT_EQ(undisturbed.back(), "stopped");
  std::size_t number = 0;
  for (const auto& [name, action] : actions()) {
    ++number;
    for (std::size_t at = 0; at < undisturbed.size(); ++at) {
      // In real time each action runs at one event, a different one each time.
      if (!bench->timeIsFree() && at != number * 5 % undisturbed.size()) continue;
      SCOPED_TRACE(name + " at event " + std::to_string(at) + ", " + undisturbed[at]);
      Scene scene(*bench);
      std::size_t count = 0;
      scene.events.onEvent = [&, act = action](const std::string&) {
        if (count++ == at && scene.player) act(scene);
      };
      scene.play();
      if (bench->timeIsFree()) {
        ASSERT_GT(count, at) << "the run differs before the action";
      }

      std::string last;
      for (const auto& event : scene.events.all()) {
        if (event.find(' ') != std::string::npos || event == "finished") continue;
        EXPECT_NE(event, last) << "announced twice";
        last = event;
      }
      if (!scene.player) {
        bench->exhaust();
        EXPECT_EQ(bench->engines(), 0U);
        continue;
      }
      EXPECT_EQ(last, stateName(scene.player->state()));
      EXPECT_EQ(scene.player->rate(), 0);
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
  bench->exhaust();
  EXPECT_EQ(bench->engines(), 0U);
}

}  // namespace
