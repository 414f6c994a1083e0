#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/media/TVSPlayer.h"
#include "platform/media/TVSResourceLoadingRequest.h"
#include "platform/services/Platform.h"

using Texts = std::vector<std::string>;

/// An item that records its requests, which the test finishes.
class RequestRecordingItem final : public TVSURLMediaItem {
 public:
  using Answer = std::function<void(TVSResourceLoadingRequest&)>;

  /// PlayerEvents identifies the item by `name`.
  RequestRecordingItem(std::string url, const std::string& name)
      : TVSURLMediaItem(std::move(url), {}) {
    setMetadata("name", name);
  }
  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override {
    _take(request);
    return takes;
  }
  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override {
    _take(request);
  }
  /// Finishes the pending and all future requests with `answer`.
  void answerWith(Answer answer) {
    _answer = std::move(answer);
    const auto waiting = requests;
    for (const auto& request : waiting)
      if (!request->isFinished()) _answer(*request);
  }

  bool takes = true;
  std::vector<std::shared_ptr<TVSResourceLoadingRequest>> requests;

 private:
  void _take(const std::shared_ptr<TVSResourceLoadingRequest>& request) {
    requests.push_back(request);
    if (takes && _answer) _answer(*request);
  }
  Answer _answer;
};

inline std::shared_ptr<TVSMediaItem> mediaItem(const std::string& url) {
  return std::make_shared<RequestRecordingItem>(url, url);
}

inline std::shared_ptr<TVSPlaylist> playlistOf(const Texts& urls, bool windowed = true) {
  std::vector<std::shared_ptr<TVSMediaItem>> items;
  for (const auto& url : urls) items.push_back(mediaItem(url));
  auto playlist = std::make_shared<TVSPlaylist>(std::move(items), 0, false);
  playlist->setWindowed(windowed);
  return playlist;
}

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

/// Records the notifications of a player in order: names of states, and `end a`, `will a`, `did b`,
/// `finished` with names of items. Completed seeks are counted.
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
    _tokens.push_back(platform::Platform::current().notificationCenter().addObserver(
        TVSPlaybackTimeDidJumpNotification, &player,
        [this](const platform::Notification&) { ++_jumps; }));
  }

  /// Called after each event.
  std::function<void(const std::string&)> onEvent;

  const Texts& all() const { return _events; }
  /// Returns and clears the events.
  Texts take() { return std::exchange(_events, {}); }
  int jumps() const { return _jumps; }

 private:
  static std::string _current(TVSPlayer& player) {
    const auto item = player.currentMediaItem();
    return item ? *item->metadata("name").asString() : "-";
  }
  void _observe(TVSPlayer& player, std::string_view name, std::function<std::string()> text) {
    _tokens.push_back(platform::Platform::current().notificationCenter().addObserver(
        name, &player, [this, text = std::move(text)](const platform::Notification&) {
          const auto event = text();
          _events.push_back(event);
          if (onEvent) onEvent(event);
        }));
  }

  Texts _events;
  int _jumps = 0;
  std::vector<platform::Token> _tokens;
};
