#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "TVVorlane/TVVorlaneResourceLoadingMediaItemDelegate.h"
#include "TVVorlane/TVVorlaneSession.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/Token.h"
#include "platform/media/TVSPlayer.h"
#include "platform/media/TVSPlaylist.h"

/// Plays media that a sender gives by URL: a video, an audio-only stream, a purchase, or a playlist
/// that the sender extends item by item.
///
/// Usage: startWithOptions() creates the item, the playlist and the player, and registers the
/// session. Loading begins at once. When the session is on screen, the requested rate is applied
/// and the start completion runs. Start parameters without a "Content-Location" are never
/// completed, so the D-Bus server must reject them. Player changes are posted to the delegate as
/// events. stopWithOptions() releases the player.
///
/// Threads: main. Lifetime: the session manager owns the session while it is registered.
class TVVorlaneURLSession : public TVVorlaneSession,
                            public TVSPlayerPlaybackDelegate,
                            public TVVorlaneResourceLoadingMediaItemDelegate,
                            public std::enable_shared_from_this<TVVorlaneURLSession> {
 public:
  TVVorlaneURLSession();
  ~TVVorlaneURLSession() override;
  std::string className() const override { return "TVVorlaneURLSession"; }

  // TVVorlaneSession
  std::uint32_t sessionID() const override { return _sessionID; }
  /// kAudioOnly if audioOnly(), otherwise kVideo.
  std::int64_t sessionType() const override;
  void startWithOptions(const platform::Dictionary& options, StartCompletion completion) override;
  bool stopWithOptions(const platform::Value& options,
                       std::optional<platform::Error>* error) override;
  platform::Value getProperty(const std::string& property, const platform::Value& qualifier,
                              std::optional<platform::Error>* error) override;
  bool setProperty(const std::string& property, const platform::Value& qualifier,
                   const platform::Value& value, std::optional<platform::Error>* error) override;
  bool performAction(const std::string& action, const platform::Value& options,
                     std::optional<platform::Dictionary>* outInfo,
                     std::optional<platform::Error>* error) override;
  void userStop() override;

  /// True if performAction() with these arguments would fail an assertion and end the process.
  bool isFatalAction(const std::string& action, const platform::Dictionary& options) const;

  const std::shared_ptr<TVSPlayer>& player() const { return _player; }
  /// Stops and invalidates the previous player.
  void setPlayer(std::shared_ptr<TVSPlayer> player);
  const std::shared_ptr<TVSPlaylist>& playlist() const { return _playlist; }
  bool stoppedDueToUser() const { return _stoppedDueToUser; }
  bool audioOnly() const { return _audioOnly; }
  const std::optional<platform::Dictionary>& initialRequest() const { return _initialRequest; }
  const std::unordered_map<std::uint64_t, std::shared_ptr<TVSResourceLoadingRequest>>&
  resourceLoadingRequests() const {
    return _resourceLoadingRequests;
  }

  // TVSPlayerPlaybackDelegate. The sender controls playback, so every request is allowed except a
  // change of media, which is only reported to the sender.
  bool playerShouldSeekToTime(TVSPlayer& player, double seconds,
                              const std::optional<platform::Date>& playbackDate) override;
  bool playerShouldPlay(TVSPlayer& player, double timeFromWhichToPlay) override;
  bool playerShouldPause(TVSPlayer& player) override;
  bool playerShouldScanAtRate(TVSPlayer& player, double rate) override;
  bool playerShouldChangeMediaInDirection(TVSPlayer& player, int direction) override;

  // TVVorlaneResourceLoadingMediaItemDelegate
  void mediaItem(TVSMediaItem& item,
                 const std::shared_ptr<TVSResourceLoadingRequest>& didRequestResource) override;

  static std::shared_ptr<TVSMediaItem> _mediaItemForParameters(const platform::Dictionary& params);
  static std::shared_ptr<TVSPlayer> _playerForParameters(
      const platform::Dictionary& params, const std::shared_ptr<TVSPlaylist>& playlist);

 private:
  using OptionalError = std::optional<platform::Error>;
  /// File name in failed assertions. The class has more than one source file.
  static constexpr std::string_view kSource = "TVVorlane/TVVorlaneURLSession.cpp";

  // Life cycle.
  void _parseSessionOptions(const platform::Dictionary& options);
  platform::Dictionary _parametersWithAddedSessionOptions(const platform::Dictionary& params) const;
  void _observePlayer();
  void _removePlayerKVOObservers();
  void _becomeResourceLoadingDelegateOf(const std::shared_ptr<TVSMediaItem>& item);
  void _playerStateDidChange();
  void _elapsedTimeDidChange(double elapsed);
  void itemDidPlayToEnd();
  void itemWillChange();
  void itemDidChange();
  void playlistDidPlayToEnd();
  void audioSessionInterrupted(const platform::Notification& notification);
  platform::Dictionary _userExitInfo() const;
  std::optional<std::string> _currentItemUUID() const;

  // Properties and actions.
  OptionalError _readProperty(const std::string& property, const platform::Value& qualifier,
                              platform::Value& value);
  OptionalError _writeProperty(const std::string& property, const platform::Value& qualifier,
                               const platform::Value& value);
  OptionalError _setPosition(const platform::Value& qualifier, const platform::Number& seconds);
  void _publishMetadata(platform::Dictionary metadata);
  /// Sets the title and the artist that the video player shows.
  void _showMetadata(const platform::Dictionary& metadata);
  OptionalError _perform(const std::string& action, const platform::Dictionary& options,
                         std::optional<platform::Dictionary>* outInfo);
  OptionalError _insertPlaylistItem(const platform::Dictionary& options);
  OptionalError _removePlaylistItem(const platform::Dictionary& options);
  void _insertItemWithInfo(const platform::Dictionary& item, const platform::Value& afterItem);
  bool _removeItemWithInfo(const platform::Dictionary& item, OptionalError* error);

  // Resource loading.
  std::shared_ptr<TVSResourceLoadingRequest> _outstandingRequest(
      const platform::Number& identifier) const;
  std::shared_ptr<const platform::Bytes> _handleKeyResponseWithOptions(
      const platform::Dictionary& options, OptionalError* error);
  bool _handleFailedURLResponseWithOptions(const platform::Dictionary& options,
                                           OptionalError* error);

  std::uint32_t _sessionID = 0;
  std::shared_ptr<TVSPlayer> _player;
  bool _stoppedDueToUser = false;
  bool _audioOnly = false;
  std::shared_ptr<TVSPlaylist> _playlist;
  std::optional<platform::Dictionary> _initialRequest;
  std::unordered_map<std::uint64_t, std::shared_ptr<TVSResourceLoadingRequest>>
      _resourceLoadingRequests;

  platform::Token _elapsedTimeObserverToken;
  platform::Token _stateObserver;
  std::vector<platform::Token> _playerObservers;  // playlist, items and audio interruptions
  std::vector<platform::Token>
      _playerKVOObservers;  // the two selected options; empty if not observed
};
