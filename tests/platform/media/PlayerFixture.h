#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/NotificationCenter.h"
#include "platform/media/TVSPlayer.h"
#include "sim/Box.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"

/// A box as these tests see it.
class MediaBox final : public sim::Box {
 public:
  MediaBox() : Box({.logLevel = 0}) {}
  void advance(double seconds) { Box::advance(platform::durationFromSeconds(seconds)); }
  sim::MediaLibrary& media() { return mediaLibrary(); }
};

inline std::string_view stateName(TVSPlaybackState state) {
  switch (state) {
    case TVSPlaybackState::Loading:
      return "loading";
    case TVSPlaybackState::Playing:
      return "playing";
    case TVSPlaybackState::Paused:
      return "paused";
    case TVSPlaybackState::Stopped:
      return "stopped";
    case TVSPlaybackState::Scanning:
      return "scanning";
  }
  return "unknown";
}

/// Hears everything that a player posts, in order: the name of a state, or what happened to which
/// item (`end a`, `will a`, `did b`, `finished`).
class PlayerEvents {
 public:
  explicit PlayerEvents(TVSPlayer& player) {
    _observe(player, TVSPlaybackStateDidChangeNotification,
             [&player] { return std::string(stateName(player.state())); });
    _observe(player, TVSPlaybackDidPlayToEndOfMediaItemNotification,
             [&player] { return "end " + _current(player); });
    _observe(player, TVSPlaybackCurrentMediaItemWillChangeNotification,
             [&player] { return "will " + _current(player); });
    _observe(player, TVSPlaybackCurrentMediaItemDidChangeNotification,
             [&player] { return "did " + _current(player); });
    _observe(player, TVSPlaybackPlaylistDidFinishNotification,
             [] { return std::string("finished"); });
  }

  /// Is called after each event with its text.
  std::function<void(const std::string&)> onEvent;

  const std::vector<std::string>& all() const { return _events; }
  /// Those since the last take().
  std::vector<std::string> take() { return std::exchange(_events, {}); }

 private:
  static std::string _current(TVSPlayer& player) {
    const auto item = player.currentMediaItem();
    return item ? item->url() : "-";
  }
  void _observe(TVSPlayer& player, std::string_view name, std::function<std::string()> text) {
    _tokens.push_back(platform::Platform::current().notificationCenter().addObserver(
        name, &player, [this, text = std::move(text)](const platform::Notification&) {
          const auto event = text();
          _events.push_back(event);
          if (onEvent) onEvent(event);
        }));
  }

  std::vector<std::string> _events;
  std::vector<platform::Token> _tokens;
};

inline std::shared_ptr<TVSMediaItem> mediaItem(std::string url) {
  return std::make_shared<TVSURLMediaItem>(std::move(url), std::vector<std::string>{});
}

inline std::shared_ptr<TVSPlaylist> playlistOf(const std::vector<std::string>& urls,
                                               bool windowed = true) {
  std::vector<std::shared_ptr<TVSMediaItem>> items;
  for (const auto& url : urls) items.push_back(mediaItem(url));
  auto playlist = std::make_shared<TVSPlaylist>(std::move(items), 0, false);
  playlist->setWindowed(windowed);
  return playlist;
}

using Texts = std::vector<std::string>;

/// A player, three items of ten seconds (a, b, c) that take half a second to load, and what was
/// heard.
class TVSPlayerTest : public testing::Test {
 protected:
  TVSPlayerTest() {
    for (const char* url : {"a", "b", "c"})
      box.media().add(url, {.loadDelay = 0.5, .duration = 10});
  }
  void begin(const std::vector<std::string>& urls) {
    playlist = playlistOf(urls);
    player->setPlaylist(playlist);
  }
  /// And waits until it plays.
  void beginAndPlay(const std::vector<std::string>& urls) {
    begin(urls);
    box.advance(0.5);
    ASSERT_EQ(events.take(), (Texts{"loading", "playing"}));
  }
  sim::MediaEngine& engine() { return *box.media().engines().back(); }

  MediaBox box;
  std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("test");
  PlayerEvents events{*player};
  std::shared_ptr<TVSPlaylist> playlist;
};
