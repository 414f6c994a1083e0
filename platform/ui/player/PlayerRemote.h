#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Token.h"
#include "platform/media/TVSPlayer.h"
#include "platform/ui/player/SkipRun.h"

namespace platform {

/// What the buttons of the remote mean to a player that nothing lies above.
///
/// Left and right: the first press skips at once. Those that follow quickly pile up to one place,
/// which is sought once no other has come for 0.3 s, so that media from afar are not asked for each
/// place on the way. A button that stays held scans, twice as fast every 2 s, from 2 to 16 times; a
/// scan goes on by itself: left and right change its speed and direction, any other button plays on
/// from where it is. No end of a press is needed, which many remotes do not tell.
///
/// Everything asks the player's playback delegate by way of the player.
///
/// Threads: main. Lifetime: holds the player; `didChange` is not called after destruction.
class PlayerRemote {
 public:
  /// `didChange` is called when a skip has been sought and when a run of skips is over.
  PlayerRemote(std::shared_ptr<TVSPlayer> player, std::function<void()> didChange);

  /// Select and play/pause.
  void toggle();
  /// A press of left (-1) or right (1).
  void press(int direction);
  /// One of its repeats.
  void hold(int direction);
  /// Another button: seeks what has piled up, and ends a scan. True: it was one.
  bool settle();
  /// Looks for nothing any more: the item is another one.
  void forget();
  void playerStateDidChange();

  /// A live stream that is shown later than it could be.
  bool isBehindLiveEdge() const;
  /// Plays there.
  void goToLiveEdge();

  /// A place is being looked for, by skips or a scan.
  bool isSeeking() const;
  /// Seconds that the open run of skips has moved the place, negative for back.
  double skipped() const;
  /// Where the player is, or where the skips lead.
  double time() const;

 private:
  void _skip(int direction);
  void _seekTarget();
  void _scan(double rate);
  TimePoint _now() const;

  struct Hold {
    int direction = 0;
    TimePoint since{};  ///< the press, or the last change of the scan's speed
  };

  std::shared_ptr<TVSPlayer> _player;
  std::function<void()> _didChange;
  SkipRun _run;
  double _skipped = 0;            // by the steps of the run
  std::optional<double> _target;  // not sought yet
  std::optional<Hold> _hold;
  bool _pausesOnceLoaded = false;
  Token _seekTimer;
  Token _runTimer;
};

}  // namespace platform
