#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"
#include "platform/media/MediaEngine.h"
#include "platform/media/ObserverList.h"
#include "platform/media/PlayerItem.h"
#include "platform/media/TVSPlaylist.h"
#include "platform/services/RemoteCommands.h"

namespace platform {
class Platform;
}

class TVSPlayer;

// Posted on Platform::notificationCenter() with the player as the sender.
inline constexpr std::string_view TVSPlaybackStateDidChangeNotification =
    "TVSPlaybackStateDidChangeNotification";
/// A seek is complete.
inline constexpr std::string_view TVSPlaybackTimeDidJumpNotification =
    "TVSPlaybackTimeDidJumpNotification";
inline constexpr std::string_view TVSPlaybackDidPlayToEndOfMediaItemNotification =
    "TVSPlaybackDidPlayToEndOfMediaItemNotification";
inline constexpr std::string_view TVSPlaybackCurrentMediaItemWillChangeNotification =
    "TVSPlaybackCurrentMediaItemWillChangeNotification";
inline constexpr std::string_view TVSPlaybackCurrentMediaItemDidChangeNotification =
    "TVSPlaybackCurrentMediaItemDidChangeNotification";
inline constexpr std::string_view TVSPlaybackPlaylistDidFinishNotification =
    "TVSPlaybackPlaylistDidFinishNotification";

enum class TVSPlaybackState {
  Loading,  ///< prerolling or rebuffering
  Playing,
  Paused,
  Stopped,   ///< also after a failure
  Scanning,  ///< fast forward or rewind
};

enum class TVSMediaItemEndAction { Advance = 0, Pause = 1, None = 2 };

enum class TVSMediaDirection : int { Next = 0, Previous = 1 };

/// Allows or rejects control calls. Called synchronously by the control functions of TVSPlayer, on
/// the main thread. If a function returns false, the player ignores the control call.
class TVSPlayerPlaybackDelegate {
 public:
  virtual ~TVSPlayerPlaybackDelegate() = default;
  virtual bool playerShouldSeekToTime(TVSPlayer& player, double seconds,
                                      const std::optional<platform::Date>& playbackDate) = 0;
  virtual bool playerShouldPlay(TVSPlayer& player, double timeFromWhichToPlay) = 0;
  virtual bool playerShouldPause(TVSPlayer& player) = 0;
  virtual bool playerShouldScanAtRate(TVSPlayer& player, double rate) = 0;
  virtual bool playerShouldChangeMediaInDirection(TVSPlayer& player, int direction) = 0;
};

/// Plays the items of a playlist with a MediaEngine.
///
/// Usage: create it, set the start point, volume and rate, then call setPlaylist(). Loading begins
/// at once. The player plays when the item is ready, unless pause() was called before. play() after
/// stop() loads the current item again, or the next one if the current item has finished or failed.
///
/// Each state is announced once, when it is reached. stop() announces it before it returns. The
/// "loading" state of setPlaylist() is announced in the next turn of the main queue, so that the
/// caller can add observers.
///
/// At the end of an item the player posts a notification and then acts according to
/// mediaItemEndAction. "Advance" loads the next item, which the engine has prepared during the last
/// seconds; after the last item it posts the playlist-finished notification and stops. A failed
/// item is added to the error log, and the next one is loaded. Without a next item the player
/// stops, and currentPlayerItem() remains the failed item.
///
/// Threads: main. Lifetime: owned by a shared_ptr.
class TVSPlayer : public platform::Object,
                  public std::enable_shared_from_this<TVSPlayer>,
                  private platform::MediaEngineObserver,
                  private platform::RemoteCommandTarget {
 public:
  /// `elapsed` and `duration` in seconds.
  using ElapsedTimeObserver =
      std::function<void(double elapsed, const std::optional<platform::Date>& playbackDate,
                         double duration, bool scanning)>;

  /// Uses Platform::current().
  explicit TVSPlayer(std::string name);
  ~TVSPlayer() override;
  std::string className() const override { return "TVSPlayer"; }
  const std::string& name() const { return _name; }

  void setPlaylist(std::shared_ptr<TVSPlaylist> playlist);
  const std::shared_ptr<TVSPlaylist>& playlist() const { return _items.playlist; }
  std::shared_ptr<TVSMediaItem> currentMediaItem() const;
  /// The item that the engine has loaded, or the item whose failure has stopped the player. Null
  /// before setPlaylist(), after any other stop, and after invalidate().
  platform::PlayerItem* currentPlayerItem() const { return _item.get(); }
  bool hasQueuePlayer() const { return _engine != nullptr; }

  // Controls. All of them except stop() and invalidate() ask the delegate first.
  void play();
  void pause();
  /// Plays at `rate` until it is called with 0 or 1, or another control ends the scan. The state is
  /// Scanning if the rate is greater than 2 or negative.
  void scanAtRate(double rate);
  /// The rate of the current scan; std::nullopt if there is none.
  std::optional<double> scanRate() const { return _target.scanRate; }
  void changeMediaInDirection(TVSMediaDirection direction);
  void stop();
  /// Stops and destroys the engine. Further calls are allowed and have no effect.
  void invalidate();

  TVSPlaybackState state() const { return _state; }

  /// Seconds. The setter seeks, or sets the start point if the item is not ready. A value that is
  /// not finite is ignored.
  double elapsedTime() const;
  void setElapsedTime(double seconds);
  /// The start point of the first item as a fraction of its duration, clamped to 0 to 1.
  void setStartPosition(double fraction);
  /// Seconds, or TVSDurationIndefinite.
  double duration() const;
  /// The date of the current position, for media with dates. The setter seeks.
  std::optional<platform::Date> playbackDate() const;
  void setPlaybackDate(platform::Date date);

  /// The current rate; 0 unless playing or scanning.
  double rate() const;
  double rateUsedForPlayback() const { return _settings.rate; }
  /// The rate for play(). Takes effect at once during playback. Clamped to ±64; 0 and values that
  /// are not finite are ignored.
  void setRateUsedForPlayback(double rate);

  bool muted() const { return _settings.muted; }
  void setMuted(bool muted);
  float volume() const { return _settings.volume; }
  /// Clamped to 0 to 1. A value that is not finite is ignored.
  void setVolume(float volume);

  TVSMediaItemEndAction mediaItemEndAction() const { return _settings.endAction; }
  void setMediaItemEndAction(TVSMediaItemEndAction action);

  bool updatesNowPlayingInfoAutomatically() const { return _remotes.updatesNowPlaying; }
  void setUpdatesNowPlayingInfoAutomatically(bool updates);
  bool handlesRemoteCommandsWithoutNowPlayingInfo() const { return _remotes.handlesCommands; }
  /// A player with a playlist receives remote commands if this or
  /// updatesNowPlayingInfoAutomatically() is set.
  void setHandlesRemoteCommandsWithoutNowPlayingInfo(bool handles);

  void setPlaybackDelegate(std::weak_ptr<TVSPlayerPlaybackDelegate> delegate) {
    _delegate = std::move(delegate);
  }

  const std::vector<platform::TimeRange>& cachedSeekableTimeRanges() const;
  const std::vector<platform::TimeRange>& cachedLoadedTimeRanges() const;
  std::optional<int> bufferingPercent() const;
  /// Dictionaries, oldest first; std::nullopt if there are no entries.
  std::optional<platform::Array> accessLog() const;
  std::optional<platform::Array> errorLog() const;
  std::shared_ptr<platform::VideoOutput> videoOutput() const;

  /// In property-list form, or a Value of kind None.
  platform::Value selectedAudioOption() const;
  platform::Value selectedSubtitleOption() const;
  /// `property` is "selectedAudioOption" or "selectedSubtitleOption" (asserted).
  platform::Token addPropertyObserver(std::string_view property, std::function<void()> observer);
  /// Called when properties of the item have changed (tracks, options, chapters, the buffering
  /// percentage), but not for positions and loaded ranges.
  platform::Token addFactsObserver(std::function<void()> observer);
  /// Once a second while playing, four times a second while scanning.
  platform::Token addElapsedTimeObserver(ElapsedTimeObserver observer);

 private:
  friend class platform::PlayerItem;

  /// The requested state of playback.
  struct Target {
    bool playing = true;
    /// std::nullopt: use rateUsedForPlayback().
    std::optional<double> scanRate;
  };
  /// The state that the engine has reported.
  enum class Phase {
    Idle,
    Loading,
    Ready,  ///< prerolled; playback has not started
    Playing,
    Paused,
    Stalled,
    Ended,
  };
  /// The start point of the next load. See MediaLoad.
  struct StartPoint {
    std::optional<double> seconds;
    std::optional<double> fraction;
    std::optional<platform::Date> date;
    bool hasPosition() const { return seconds || fraction; }
  };
  /// The part of the now-playing information that depends on the facts of the item.
  struct PublishedFacts {
    std::string title;
    double duration = 0;
    friend bool operator==(const PublishedFacts&, const PublishedFacts&) = default;
  };

  // Engine callbacks. All of them use _handleEngineEvent(), which drops events of older loads.
  void engineDidBecomeReady(std::uint64_t generation) override;
  void engineDidPlay(std::uint64_t generation, double rate) override;
  void engineDidPause(std::uint64_t generation) override;
  void engineDidStall(std::uint64_t generation) override;
  void engineDidSeek(std::uint64_t generation) override;
  void engineDidReachEnd(std::uint64_t generation) override;
  void engineDidFail(std::uint64_t generation, const platform::Error& error) override;
  void engineFactsDidChange(std::uint64_t generation) override;
  void engineSelectionDidChange(std::uint64_t generation,
                                const std::string& characteristic) override;
  void _handleEngineEvent(std::uint64_t generation, const std::function<void()>& body);

  // The current item. A function that posts notifications compares the epoch before and after. If
  // it differs, an observer has loaded or stopped something else, and the function returns.
  bool _isLoaded() const { return _phase != Phase::Idle; }
  bool _isReady() const { return _phase != Phase::Idle && _phase != Phase::Loading; }
  platform::MediaLoad _makeLoad(const std::shared_ptr<TVSMediaItem>& item,
                                const StartPoint& start) const;
  void _load();
  void _unload();
  void _stopWithItem(std::unique_ptr<platform::PlayerItem> failedItem);
  void _restart();
  void _changeItem(const std::function<bool()>& moveCurrent);
  void _advanceOrStop(bool playedToEnd);
  void _playlistDidChange(const TVSPlaylist::Change& change);
  void _recordFailure(const platform::Error& error);
  /// The failed requests of the current load that are not in `_errorLog` yet.
  std::vector<platform::FailedRequest> _newFailedRequests() const;
  /// Adds _newFailedRequests() to `_errorLog`, before the engine forgets them.
  void _recordFailedRequests();
  /// Plays at the scan rate, if there is one, or at the rate used for playback.
  void _playAtTargetRate();
  bool _delegateAllowsSeek(double seconds, const std::optional<platform::Date>& date);
  void _releaseEngine();

  /// Called when the playlist, the position, the rate or the end time may have changed.
  void _updatePreparation();
  std::shared_ptr<TVSMediaItem> _itemToPrepare() const;
  /// Seconds of real time until the end of the item; std::nullopt if it does not play forward or
  /// its duration is unknown.
  std::optional<double> _secondsLeft() const;

  TVSPlaybackState _stateOfPhase() const;
  bool _isScanning() const;
  /// Computes the state from `_phase` and `_target`, and updates timers and observers.
  void _updateState();
  void _announceState();
  void _announceStateLater();

  void _post(std::string_view notification);
  void _updateElapsedTimer();
  void _elapsedTimerDidFire();
  void _publishNowPlaying();
  void _publishNowPlayingIfChanged();

  void handleRemoteCommand(const platform::RemoteCommand& command) override;
  platform::RemotePlayback remotePlayback() const override;
  /// Registers or unregisters the player as a target.
  void _updateRemoteCommands();
  void _notifyRemotes();
  void _skipBy(double seconds);
  PublishedFacts _currentPublishedFacts() const;
  platform::Value _selectedOption(std::string_view characteristic) const;

  struct Items {
    std::shared_ptr<TVSPlaylist> playlist;
    platform::Token observer;
    bool isMoving = false;  ///< the player itself changes the current item of the playlist
  };
  /// Counters that detect stale engine events and reentrant calls.
  struct Serials {
    std::uint64_t generation = 0;  ///< of the current load; 0 if there is none
    std::uint64_t lastGeneration = 0;
    std::uint64_t epoch = 0;  ///< the number of loads and stops
    int engineEventDepth = 0;
  };
  struct Settings {
    double rate = 1;
    bool muted = false;
    float volume = 1;
    TVSMediaItemEndAction endAction = TVSMediaItemEndAction::Advance;
  };
  /// Displays and media keys outside the application.
  struct Remotes {
    bool updatesNowPlaying = true;
    std::optional<PublishedFacts> published;
    bool handlesCommands = false;
    platform::Token commands;
  };
  struct Observers {
    platform::ObserverList<> audioOption;
    platform::ObserverList<> subtitleOption;
    platform::ObserverList<> facts;
    platform::ObserverList<double, const std::optional<platform::Date>&, double, bool> elapsedTime;
    platform::Token elapsedTimer;
    double elapsedInterval = 0;
  };
  /// The item that the engine is preparing or has prepared.
  struct Preparation {
    std::shared_ptr<TVSMediaItem> item;
    platform::Token timer;
  };

  platform::Platform& _platform;
  const std::string _name;
  std::unique_ptr<platform::MediaEngine> _engine;
  Items _items;
  std::unique_ptr<platform::PlayerItem> _item;
  platform::Array _errorLog;  ///< without the requests of the current load, unless it has failed
  std::weak_ptr<TVSPlayerPlaybackDelegate> _delegate;

  Target _target;
  Phase _phase = Phase::Idle;
  double _engineRate = 0;
  StartPoint _start;
  Serials _serials;
  /// The current item has finished or failed; _restart() loads the next one.
  bool _currentItemIsFinished = false;

  TVSPlaybackState _state = TVSPlaybackState::Stopped;
  std::optional<TVSPlaybackState> _announcedState;
  Settings _settings;
  Remotes _remotes;
  Observers _observers;
  Preparation _preparation;
};
