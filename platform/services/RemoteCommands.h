#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/foundation/Token.h"

namespace platform {

/// A command of a media key or a now-playing display.
struct RemoteCommand {
  enum class Kind {
    Play,
    Pause,
    TogglePlayPause,
    Stop,
    Next,
    Previous,
    SkipBy,     ///< seconds relative to the position; beyond the end: Next
    SeekTo,     ///< seconds from the beginning
    SetRate,    ///< 1 is normal
    SetVolume,  ///< 0 to 1; the volume of the player
  };

  Kind kind;
  double value = 0;
};

/// The playback state for now-playing displays.
struct RemotePlayback {
  enum class State {
    Stopped,
    Waiting,  ///< loading or buffering; will play
    Playing,
    Paused,
  };

  State state = State::Stopped;
  double elapsed = 0;  ///< seconds
  double rate = 0;     ///< current rate; 0 while time stands still
  /// Seconds; std::nullopt: unknown or unlimited.
  std::optional<double> duration;
  bool canSeek = false;
  double volume = 1;
};

/// The receiver of remote commands, such as a player. Main thread.
class RemoteCommandTarget {
 public:
  virtual ~RemoteCommandTarget() = default;
  virtual void handleRemoteCommand(const RemoteCommand& command) = 0;
  virtual RemotePlayback remotePlayback() const = 0;
};

/// The registered targets. The newest one receives the commands. Main thread.
class RemoteCommandTargets {
 public:
  /// Registers `target` until the token is destroyed. The target must outlive the token.
  Token add(RemoteCommandTarget& target);
  /// The newest target, or null.
  RemoteCommandTarget* current() const { return _targets->empty() ? nullptr : _targets->back(); }

 private:
  // Shared, because tokens may outlive this object.
  const std::shared_ptr<std::vector<RemoteCommandTarget*>> _targets =
      std::make_shared<std::vector<RemoteCommandTarget*>>();
};

}  // namespace platform
