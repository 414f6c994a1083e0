#pragma once

#include <string>
#include <string_view>

#include "receivers/upnp/model/BoxCalls.h"
#include "receivers/upnp/model/Clock.h"
#include "receivers/upnp/model/Errors.h"
#include "receivers/upnp/model/LastChange.h"
#include "receivers/upnp/model/PlaybackReader.h"
#include "receivers/upnp/model/Rendering.h"

namespace upnp {

/// The session that plays, so that a restarted renderer finds it again.
struct Snapshot {
  std::uint32_t session = 0;  ///< 0: none
  std::optional<Track> current;
  std::optional<Track> next;
};

/// AVTransport: one instance, which plays one item and the one after it.
///
/// States come from the box: after Play the state is TRANSITIONING until the event "playing" names
/// the item. Each start is a session of the box of its own, and each item has a UUID, so that
/// events of earlier sessions and of other receiver services are recognized.
class Transport {
 public:
  enum class State { NoMedia, Stopped, Transitioning, Playing, Paused };

  struct Hooks {
    std::function<void(const Snapshot&)> save;
    std::function<void(const std::string&)> log;
    /// Unique among all renderers; begins with kUuidPrefix.
    std::function<std::string()> makeUuid;
    std::uint32_t firstSession = 1;
  };

  Transport(BoxCalls& calls, Clock& clock, LastChange& changes, Rendering& rendering, Hooks hooks);

  // Actions. Each returns the error for the controller.
  /// An empty URI removes the item.
  Failure setUri(Item item);
  Failure setNextUri(Item item);
  Failure play(std::string_view speed);
  Failure pause();
  Failure stop();
  Failure seek(std::string_view unit, std::string_view target);
  Failure next();
  Failure previous();
  Failure setPlayMode(std::string_view mode);
  /// Seconds, as the box reports them now.
  void readPosition(std::function<void(double)> done);

  /// Returns whether the box has a session of this renderer.
  bool isActive() const { return _session != 0; }
  double duration() const;

  // The box.
  void handleEvent(const BoxEvent& event);
  /// Continues with the session of the snapshot if the box still plays it.
  void handleConnected(const Snapshot& snapshot);
  /// Returns the snapshot for the next connection.
  Snapshot handleDisconnected();

 private:
  void _start(bool isPaused);
  void _appendNext();
  void _withdrawNext();
  void _advance();
  Failure _seekTo(double seconds);
  void _endSession(bool isError);
  void _releaseLater(Clock::Duration delay);
  void _resume(const Snapshot& snapshot, const Playback& playback);
  void _handlePlaying(const Playback& playback);
  void _handleStopped(bool isUserExit);
  void _confirm(State state);
  /// Returns false if the item that the box plays is not of this session.
  bool _recognize(const Playback& playback);
  void _note(const Playback& playback);
  void _setState(State state);
  void _publish();
  void _save();

  BoxCalls& _calls;
  Clock& _clock;
  LastChange& _changes;
  Rendering& _rendering;
  const Hooks _hooks;
  PlaybackReader _reader;
  State _state = State::NoMedia;
  bool _hasError = false;
  std::optional<Track> _current;
  std::optional<Track> _next;
  std::optional<Item> _previous;
  bool _isNextAppended = false;
  std::uint32_t _session = 0;
  std::uint32_t _nextSession = 0;
  double _startPosition = 0;
  std::optional<Playback> _playback;
  /// Counts starts, stops and events that set the state, so that late answers are dropped.
  unsigned _step = 0;
  Clock::Timer _release;
};

/// The prefix of the UUIDs of all renderers.
inline constexpr std::string_view kUuidPrefix = "tvvorlane-upnp:";

const char* stateName(Transport::State state);

}  // namespace upnp
