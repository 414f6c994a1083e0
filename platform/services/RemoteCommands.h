#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/foundation/Token.h"

namespace platform {

/// What a media key or a now-playing display asks of what plays.
struct RemoteCommand {
  enum class Kind {
    Play,
    Pause,
    TogglePlayPause,
    Stop,
    Next,
    Previous,
    SkipBy,     ///< seconds from here; past the end it is Next
    SeekTo,     ///< seconds from the beginning
    SetRate,    ///< 1 is normal
    SetVolume,  ///< 0 to 1, of what plays alone
  };

  Kind kind;
  double value = 0;
};

/// What is true of something that plays, for those who show it.
struct RemotePlayback {
  enum class State {
    Stopped,
    Waiting,  ///< will play as soon as it can
    Playing,
    Paused,
  };

  State state = State::Stopped;
  double elapsed = 0;  ///< seconds
  double rate = 0;     ///< what time runs at now
  /// Seconds; none: not known, or without an end.
  std::optional<double> duration;
  bool canSeek = false;
  double volume = 1;
};

/// Whoever carries out remote commands: a player. Main thread.
class RemoteCommandTarget {
 public:
  virtual ~RemoteCommandTarget() = default;
  virtual void handleRemoteCommand(const RemoteCommand& command) = 0;
  virtual RemotePlayback remotePlayback() const = 0;
};

/// Those who take remote commands. The one that came last has them. Main thread.
class RemoteCommandTargets {
 public:
  /// Until the token is dropped, which `target` outlives.
  Token add(RemoteCommandTarget& target);
  /// Null: nobody takes any.
  RemoteCommandTarget* current() const { return _targets->empty() ? nullptr : _targets->back(); }

 private:
  // Shared with the tokens, which may outlive this.
  const std::shared_ptr<std::vector<RemoteCommandTarget*>> _targets =
      std::make_shared<std::vector<RemoteCommandTarget*>>();
};

}  // namespace platform
