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

/// A position or a duration, as far as real media are exact.
inline auto near(double seconds) { return testing::DoubleNear(seconds, 0.1); }

/// Refuses everything, and remembers what it was asked.
class Refusing : public TVSPlayerPlaybackDelegate {
 public:
  bool playerShouldSeekToTime(TVSPlayer&, double seconds,
                              const std::optional<platform::Date>& date) override {
    return _note("seek", date ? date->secondsSince1970 : seconds);
  }
  bool playerShouldPlay(TVSPlayer&, double from) override { return _note("play", from); }
  bool playerShouldPause(TVSPlayer&) override { return _note("pause"); }
  bool playerShouldScanAtRate(TVSPlayer&, double rate) override { return _note("scan", rate); }
  bool playerShouldChangeMediaInDirection(TVSPlayer&, int direction) override {
    return _note("change", direction);
  }
  Texts asked;

 private:
  bool _note(std::string question, std::optional<double> of = {}) {
    if (of) question += " " + std::to_string(std::lround(*of));
    asked.push_back(std::move(question));
    return false;
  }
};

/// A player on a bench, and what was heard of it.
class TVSPlayerTest : public testing::Test {
 protected:
  std::shared_ptr<AskedItem> item(const std::string& name) {
    return std::make_shared<AskedItem>(bench->url(name), name);
  }
  void begin(const Texts& names, bool windowed = true) {
    playlist = playlistOf({}, windowed);
    for (const auto& name : names) playlist->appendMediaItem(item(name));
    player->setPlaylist(playlist);
  }
  /// And waits until it plays.
  void beginAndPlay(const Texts& names) {
    begin(names);
    ASSERT_TRUE(untilHeard("playing"));
    ASSERT_EQ(events.take(), (Texts{"loading", "playing"}));
  }
  /// And waits until it shows where it would begin.
  void beginPaused(const Texts& names) {
    player->pause();
    begin(names);
    ASSERT_TRUE(untilHeard("paused"));
    ASSERT_EQ(events.take(), (Texts{"loading", "paused"}));
  }
  bool until(const std::function<bool()>& isSo) { return bench->until(isSo); }
  /// Since the last take().
  bool untilHeard(const std::string& event) {
    return until([&] {
      const auto& all = events.all();
      return std::find(all.begin(), all.end(), event) != all.end();
    });
  }
  bool untilPosition(const std::function<bool(double)>& isSo) {
    return until([&] { return isSo(player->elapsedTime()); });
  }
  /// Seeks, and waits until that has had its effect: what was asked before it has had its own.
  bool seek(double seconds) {
    const int before = events.jumps();
    player->setElapsedTime(seconds);
    return until([&] { return events.jumps() > before; });
  }
  std::shared_ptr<AskedItem> current() {
    return std::dynamic_pointer_cast<AskedItem>(player->currentMediaItem());
  }
  /// As its sender would, now and from now on.
  void answerRequests(AskedItem& of) {
    of.answerBy(
        [where = bench.get()](auto& request) { request.finishLoading(where->answerTo(request)); });
  }

  std::unique_ptr<PlayerBench> bench = PlayerBench::make();
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  PlayerEvents events{*player};
  std::shared_ptr<TVSPlaylist> playlist;
};
