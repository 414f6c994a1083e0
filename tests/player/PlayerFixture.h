#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/player/PlayerBench.h"
#include "tests/player/PlayerEvents.h"

/// Matches a position or a duration with the accuracy of real media.
inline auto near(double seconds) { return testing::DoubleNear(seconds, 0.1); }

/// Rejects and records all requests.
class RejectingDelegate : public TVSPlayerPlaybackDelegate {
 public:
  bool playerShouldSeekToTime(TVSPlayer&, double seconds,
                              const std::optional<platform::Date>& date) override {
    return _record("seek", date ? date->secondsSince1970 : seconds);
  }
  bool playerShouldPlay(TVSPlayer&, double from) override { return _record("play", from); }
  bool playerShouldPause(TVSPlayer&) override { return _record("pause"); }
  bool playerShouldScanAtRate(TVSPlayer&, double rate) override { return _record("scan", rate); }
  bool playerShouldChangeMediaInDirection(TVSPlayer&, int direction) override {
    return _record("change", direction);
  }
  Texts requests;

 private:
  bool _record(std::string question, std::optional<double> of = {}) {
    if (of) question += " " + std::to_string(std::lround(*of));
    requests.push_back(std::move(question));
    return false;
  }
};

/// A player on a bench, with its events.
class TVSPlayerTest : public testing::Test {
 protected:
  std::shared_ptr<RequestRecordingItem> item(const std::string& name) {
    return std::make_shared<RequestRecordingItem>(bench->url(name), name);
  }
  void begin(const Texts& names, bool windowed = true) {
    playlist = playlistOf({}, windowed);
    for (const auto& name : names) playlist->appendMediaItem(item(name));
    player->setPlaylist(playlist);
  }
  /// Loads the items and waits for playback.
  void beginAndPlay(const Texts& names) {
    begin(names);
    ASSERT_TRUE(untilEvent("playing"));
    ASSERT_EQ(events.take(), (Texts{"loading", "playing"}));
  }
  /// Loads the items paused and waits for preroll.
  void beginPaused(const Texts& names) {
    player->pause();
    begin(names);
    ASSERT_TRUE(untilEvent("paused"));
    ASSERT_EQ(events.take(), (Texts{"loading", "paused"}));
  }
  bool until(const std::function<bool()>& condition) { return bench->until(condition); }
  /// Waits for `event`, unless it was recorded since the last events.take().
  bool untilEvent(const std::string& event) {
    return until([&] {
      const auto& all = events.all();
      return std::find(all.begin(), all.end(), event) != all.end();
    });
  }
  bool untilPosition(const std::function<bool(double)>& condition) {
    return until([&] { return condition(player->elapsedTime()); });
  }
  /// Seeks and waits for completion. Earlier requests are complete then, too.
  bool seek(double seconds) {
    const int before = events.jumps();
    player->setElapsedTime(seconds);
    return until([&] { return events.jumps() > before; });
  }
  std::shared_ptr<RequestRecordingItem> current() {
    return std::dynamic_pointer_cast<RequestRecordingItem>(player->currentMediaItem());
  }
  /// Finishes the pending and all future requests of an item successfully.
  void answerRequests(RequestRecordingItem& of) {
    of.answerWith(
        [where = bench.get()](auto& request) { request.finishLoading(where->answerTo(request)); });
  }

  std::unique_ptr<PlayerBench> bench = PlayerBench::make();
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  PlayerEvents events{*player};
  std::shared_ptr<TVSPlaylist> playlist;
};
