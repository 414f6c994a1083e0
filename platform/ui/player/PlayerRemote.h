#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Token.h"
#include "platform/media/TVSPlayer.h"
#include "platform/ui/player/SkipRun.h"

namespace platform {

/// Controls a player with the buttons of the remote control.
///
/// Left and Right: the first press skips at once. Presses that follow quickly are added up, and the
/// player seeks when there was none for 0.3 s, so that the media are not loaded at each
/// intermediate position. A held button starts a scan at rate 2. The rate doubles every 2 s up
/// to 16. The scan continues after the release, because many remote controls do not report it.
/// During a scan Left and Right change rate and direction; any other button resumes normal
/// playback.
///
/// Threads: main. Lifetime: owns a reference to the player.
class PlayerRemote {
 public:
  /// `didChange` is called after a delayed seek and at the end of a run of skips.
  PlayerRemote(std::shared_ptr<TVSPlayer> player, std::function<void()> didChange);

  /// Select or Play/Pause was pressed.
  void toggle();
  /// Left (-1) or Right (1) was pressed.
  void press(int direction);
  /// Left (-1) or Right (1) was repeated.
  void repeat(int direction);
  /// Another button was pressed: performs a pending seek and ends a scan. Returns true if there was
  /// a scan.
  bool finishSeeking();
  /// Drops all pending operations, when another item becomes current.
  void reset();
  void playerStateDidChange();

  bool isBehindLiveEdge() const;
  void goToLiveEdge();

  /// True during skips and scans.
  bool isSeeking() const;
  /// The sum of the current run of skips in seconds; negative: backward.
  double skipped() const;
  /// The target of the pending seek, or the position of the player, in seconds.
  double time() const;

 private:
  void _skip(int direction);
  void _seekTarget();
  void _scan(double rate);
  TimePoint _now() const;

  struct Hold {
    int direction = 0;
    TimePoint since{};  ///< time of the press or of the last change of the scan rate
  };

  std::shared_ptr<TVSPlayer> _player;
  std::function<void()> _didChange;
  SkipRun _run;
  double _skipped = 0;            // the sum of the steps of the run
  std::optional<double> _target;  // of the pending seek
  std::optional<Hold> _hold;
  bool _pauseWhenLoaded = false;
  Token _seekTimer;
  Token _runTimer;
};

}  // namespace platform
