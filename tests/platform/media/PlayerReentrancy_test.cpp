// Whoever hears something from a player may do anything to it, there and then.

#include <gmock/gmock.h>

#include "tests/platform/media/PlayerFixture.h"

namespace {

/// A player that goes through everything: a failure, a stall, an end, a scan.
struct Scene {
  Scene() {
    box.media().add("a", {.loadDelay = 0.5, .duration = 4, .stalls = {{1, 1}}});
    box.media().add("b", {.loadDelay = 0.5, .duration = 4});
    player->setPlaylist(playlist);
  }
  void play() {
    box.advance(3);
    if (player) player->scanAtRate(4);
    box.advance(0.5);
    if (player) player->pause();
    box.run();
    if (player) player->play();
    box.advance(20);
    playlist->appendMediaItem(mediaItem("b"));
    if (player) player->play();
    box.advance(20);
  }

  MediaBox box;
  std::shared_ptr<TVSPlaylist> playlist = playlistOf({"missing", "a", "b"});
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
      {"seek", [](Scene& scene) { scene.player->setElapsedTime(1.5); }},
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
      {"replace the playlist", [](Scene& scene) { scene.player->setPlaylist(playlistOf({"b"})); }},
      {"clear the playlist", [](Scene& scene) { scene.player->setPlaylist(nullptr); }},
  };
  return all;
}

std::vector<std::string> eventsOfAnUndisturbedRun() {
  Scene scene;
  scene.play();
  return scene.events.all();
}

TEST(PlayerReentrancy, AnythingMayBeDoneAtAnyEvent) {
  const auto undisturbed = eventsOfAnUndisturbedRun();
  ASSERT_GT(undisturbed.size(), 14U);
  ASSERT_EQ(undisturbed.back(), "stopped");
  for (const auto& [name, action] : actions()) {
    for (std::size_t at = 0; at < undisturbed.size(); ++at) {
      SCOPED_TRACE(name + " at event " + std::to_string(at) + ", " + undisturbed[at]);
      Scene scene;
      std::size_t count = 0;
      scene.events.onEvent = [&, act = action](const std::string&) {
        if (count++ == at && scene.player) act(scene);
      };
      scene.play();
      ASSERT_GT(count, at) << "the run differs before anything was done";

      std::string last;
      for (const auto& event : scene.events.all()) {
        if (event.find(' ') != std::string::npos || event == "finished") continue;
        EXPECT_NE(event, last) << "announced twice";
        last = event;
      }
      if (!scene.player) {
        EXPECT_THAT(scene.box.media().engines(), testing::IsEmpty());
        continue;
      }
      EXPECT_EQ(last, stateName(scene.player->state()));
      const auto& engine = *scene.box.media().engines().front();
      EXPECT_EQ(engine.isRunning(), scene.player->state() == TVSPlaybackState::Playing);
      EXPECT_EQ(engine.isLoaded(), scene.player->state() != TVSPlaybackState::Stopped);
    }
  }
}

TEST(PlayerReentrancy, ElapsedTimeObserversMayDropThePlayer) {
  Scene scene;
  int calls = 0;
  const auto first = scene.player->addElapsedTimeObserver([&](auto...) {
    ++calls;
    scene.player.reset();
  });
  const auto second = scene.player->addElapsedTimeObserver([&](auto...) { ++calls; });
  scene.play();
  EXPECT_EQ(calls, 2) << "the call in progress reaches everybody";
  EXPECT_THAT(scene.box.media().engines(), testing::IsEmpty());
}

}  // namespace
