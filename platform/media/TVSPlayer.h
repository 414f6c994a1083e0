#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/Value.h"
#include "platform/media/MediaEngine.h"
#include "platform/media/ObserverList.h"
#include "platform/media/PlayerItem.h"
#include "platform/media/TVSPlaylist.h"
#include "platform/services/RemoteCommands.h"

namespace platform {
class Platform;
}

class TVSPlayer;

// Posted on the process-wide notification centre with the player as the sender.
inline constexpr std::string_view TVSPlaybackStateDidChangeNotification =
    "TVSPlaybackStateDidChangeNotification";
/// A seek has had its effect.
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
  Loading,  ///< nothing to show yet, or rebuffering
  Playing,  ///< the first frame is due
  Paused,
  Stopped,   ///< also after a failure
  Scanning,  ///< the remote runs through the item
};

enum class TVSMediaItemEndAction { Advance = 0, Pause = 1, None = 2 };

enum class TVSMediaDirection : int { Next = 0, Previous = 1 };

/// Is asked before the player does what somebody wants of it. Main thread, inside the call
/// concerned.
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

/// A player: a playlist, its current item, a state, and an engine that does the playing.
///
/// Workflow: make it, set what it should begin with (start point, volume, rate), setPlaylist().
/// Loading begins at once and it plays when it is ready, unless pause() came first. stop() ends it;
/// play() after that begins anew, with the item after a failed or finished one where there is one.
/// invalidate() lets the engine go for good.
///
/// States are announced once, when they are true: "paused" when time stands still, "playing" when
/// the first frame is due. stop() announces before it returns; the "loading" of setPlaylist() is
/// announced on the next turn of the main queue, so that whoever made the player can observe it.
///
/// At the end of an item it posts that, then acts by mediaItemEndAction: the next item, or after
/// the last one the playlist-finished notification and a stop; a pause on the last frame; or
/// nothing. Where the next item is to follow, the engine prepares it during the last seconds of the
/// one that plays, so that no time passes between them. An item that fails is written to the error
/// log and left for the next one; without a next one the player stops and the failed item stays to
/// be asked.
///
/// Threads: main only. Lifetime: owned by shared_ptr.
class TVSPlayer : public platform::Object,
                  public std::enable_shared_from_this<TVSPlayer>,
                  private platform::MediaEngineObserver,
                  private platform::RemoteCommandTarget {
 public:
  /// `elapsed` and `duration` in seconds.
  using ElapsedTimeObserver =
      std::function<void(double elapsed, const std::optional<platform::Date>& playbackDate,
                         double duration, bool scanning)>;

  /// On the current platform.
  explicit TVSPlayer(std::string name);
  ~TVSPlayer() override;
  std::string className() const override { return "TVSPlayer"; }
  const std::string& name() const { return _name; }

  // What to play.
  void setPlaylist(std::shared_ptr<TVSPlaylist> playlist);
  const std::shared_ptr<TVSPlaylist>& playlist() const { return _items.playlist; }
  std::shared_ptr<TVSMediaItem> currentMediaItem() const;
  /// The current item as the engine has it; null before setPlaylist(), after a stop that was no
  /// failure, and after invalidate().
  platform::PlayerItem* currentPlayerItem() const { return _item.get(); }
  /// False once invalidated.
  bool hasQueuePlayer() const { return _engine != nullptr; }

  // Controls. Each asks the delegate first.
  void play();
  void pause();
  /// By the remote: runs through the item at `rate`; 0 or 1 go back to playing. Beyond 2 or below 0
  /// the state is scanning.
  void scanAtRate(double rate);
  /// What was last asked of scanAtRate() and still holds; none: no scan.
  std::optional<double> scanRate() const { return _target.scanRate; }
  /// By the remote. The delegate answers, or the player goes to the neighbouring item.
  void changeMediaInDirection(TVSMediaDirection direction);
  void stop();
  /// Stops and gives the engine up. Nothing works afterwards, everything may be called.
  void invalidate();

  TVSPlaybackState state() const { return _state; }

  /// Seconds. Setting it seeks; before the item is ready it sets the start point. Not finite:
  /// ignored.
  double elapsedTime() const;
  void setElapsedTime(double seconds);
  /// Fraction of the duration, 0 to 1 (clamped), from which the first item starts.
  void setStartPosition(double fraction);
  /// Seconds, or TVSDurationIndefinite.
  double duration() const;
  /// The date of the current position, for media that carry dates. Setting it seeks.
  std::optional<platform::Date> playbackDate() const;
  void setPlaybackDate(platform::Date date);

  /// What time runs at now: 0 unless playing or scanning.
  double rate() const;
  double rateUsedForPlayback() const { return _settings.rate; }
  /// What play() uses, and at once where it plays. 0 or not finite: ignored; clamped to ±64.
  void setRateUsedForPlayback(double rate);

  bool muted() const { return _settings.muted; }
  void setMuted(bool muted);
  float volume() const { return _settings.volume; }
  /// Clamped to 0 to 1; not finite: ignored.
  void setVolume(float volume);

  TVSMediaItemEndAction mediaItemEndAction() const { return _settings.endAction; }
  void setMediaItemEndAction(TVSMediaItemEndAction action);

  bool updatesNowPlayingInfoAutomatically() const { return _remotes.updatesNowPlaying; }
  void setUpdatesNowPlayingInfoAutomatically(bool updates);
  bool handlesRemoteCommandsWithoutNowPlayingInfo() const { return _remotes.handlesCommands; }
  /// Media keys and displays reach a player that has a playlist and either of the two: each asks
  /// the delegate as the remote does.
  void setHandlesRemoteCommandsWithoutNowPlayingInfo(bool handles);

  void setPlaybackDelegate(std::weak_ptr<TVSPlayerPlaybackDelegate> delegate) {
    _delegate = std::move(delegate);
  }

  // What it tells.
  const std::vector<platform::TimeRange>& cachedSeekableTimeRanges() const;
  const std::vector<platform::TimeRange>& cachedLoadedTimeRanges() const;
  std::optional<int> bufferingPercent() const;
  /// Dictionaries, oldest first; nothing when there are no entries.
  std::optional<platform::Array> accessLog() const;
  std::optional<platform::Array> errorLog() const;
  std::shared_ptr<platform::VideoOutput> videoOutput() const;

  /// Property-list form, or a Value that holds nothing.
  platform::Value selectedAudioOption() const;
  platform::Value selectedSubtitleOption() const;
  /// `property` is "selectedAudioOption" or "selectedSubtitleOption" (asserted).
  platform::Token addPropertyObserver(std::string_view property, std::function<void()> observer);
  /// Called when what is known of the item has changed: tracks, options, chapters, how far the
  /// buffer has filled. Positions and loaded ranges are not told of.
  platform::Token addFactsObserver(std::function<void()> observer);
  /// Once a second while playing, four times a second while scanning.
  platform::Token addElapsedTimeObserver(ElapsedTimeObserver observer);

 private:
  friend class platform::PlayerItem;

  /// What is wanted, whatever the engine is at.
  struct Target {
    bool playing = true;
    /// By the remote; none: the rate used for playback.
    std::optional<double> scanRate;
  };
  /// What is, as far as the engine has told.
  enum class Phase {
    Idle,     ///< nothing is loaded
    Loading,  ///< the engine has not become ready
    Ready,    ///< there is something to show, time has not begun to run
    Playing,
    Paused,
    Stalled,
    Ended,  ///< time stands still at the item's end
  };
  /// Where the next load begins: at the date where the media carry dates, otherwise at one of the
  /// other two, of which at most one is set.
  struct StartPoint {
    std::optional<double> seconds;
    std::optional<double> fraction;
    std::optional<platform::Date> date;
    bool hasPosition() const { return seconds || fraction; }
  };
  /// What the now-playing displays were last told of the item.
  struct PublishedFacts {
    std::string title;
    double duration = 0;
    friend bool operator==(const PublishedFacts&, const PublishedFacts&) = default;
  };

  // Engine callbacks. All of them go through _receive(), which drops what belongs to an older load.
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
  void _receive(std::uint64_t generation, const std::function<void()>& body);

  // The current item. Whatever calls out looks at the epoch afterwards: where it has moved on,
  // somebody out there has decided otherwise, and there is nothing left to do.
  bool _isLoaded() const { return _phase != Phase::Idle; }
  bool _isReady() const { return _phase != Phase::Idle && _phase != Phase::Loading; }
  platform::MediaLoad _loadOf(const std::shared_ptr<TVSMediaItem>& item,
                              const StartPoint& start) const;
  void _load();
  void _unload();
  void _stopKeeping(std::unique_ptr<platform::PlayerItem> failedItem);
  void _beginAnew();
  void _changeItem(const std::function<bool()>& moveCurrent);
  void _leaveItem(bool playedToEnd);
  void _playlistDidChange(const TVSPlaylist::Change& change);
  void _recordFailure(const platform::Error& error);
  /// At the rate that is wanted.
  void _runEngine();
  bool _maySeek(double seconds, const std::optional<platform::Date>& date);
  void _retireEngine();

  // The next item. Called whenever what it goes by may have changed.
  void _updatePreparation();
  std::shared_ptr<TVSMediaItem> _itemToFollow() const;
  /// Until the current item's end, on the clock; none where it does not run towards one.
  std::optional<double> _secondsLeft() const;

  // State.
  TVSPlaybackState _stateOfPhase() const;
  bool _scans() const;
  /// Brings the state, and what hangs on it, in line with phase and target.
  void _settle();
  void _announce();
  void _announceLater();

  // Whoever listens.
  void _post(std::string_view notification);
  void _updateElapsedTimer();
  void _elapsedTimerDidFire();
  void _publishNowPlaying();
  void _publishChangedFacts();

  // Remote commands.
  void handleRemoteCommand(const platform::RemoteCommand& command) override;
  platform::RemotePlayback remotePlayback() const override;
  /// Takes them, or lets them go, as the player is now.
  void _updateRemoteCommands();
  void _tellRemotes();
  void _skipBy(double seconds);
  PublishedFacts _factsToPublish() const;
  platform::Value _selectedOption(std::string_view characteristic) const;

  /// The items to play, and whether it is the player itself that moves on in them.
  struct Items {
    std::shared_ptr<TVSPlaylist> playlist;
    platform::Token observer;
    bool moves = false;
  };
  /// Tells what belongs to the load in progress from what is over.
  struct Serials {
    std::uint64_t generation = 0;  ///< of the load in progress; 0 while there is none
    std::uint64_t lastGeneration = 0;
    std::uint64_t epoch = 0;  ///< counts loads and stops
    int receiving = 0;        ///< callbacks of the engine that are under way
  };
  struct Settings {
    double rate = 1;  ///< used for playback
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
  /// What the engine prepares, or has prepared.
  struct Preparation {
    std::shared_ptr<TVSMediaItem> item;
    platform::Token timer;
  };

  platform::Platform& _platform;
  const std::string _name;
  std::unique_ptr<platform::MediaEngine> _engine;
  Items _items;
  std::unique_ptr<platform::PlayerItem> _item;
  platform::Array _errorLog;
  std::weak_ptr<TVSPlayerPlaybackDelegate> _delegate;

  Target _target;
  Phase _phase = Phase::Idle;
  double _engineRate = 0;
  StartPoint _start;
  Serials _serials;
  /// The current item is done with: beginning anew goes to the one after it.
  bool _currentItemIsSpent = false;

  TVSPlaybackState _state = TVSPlaybackState::Stopped;
  std::optional<TVSPlaybackState> _announcedState;
  Settings _settings;
  Remotes _remotes;
  Observers _observers;
  Preparation _preparation;
};
