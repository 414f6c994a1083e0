#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "box/services/nowplaying/NowPlayingState.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/NowPlayingService.h"

namespace box {

/// Collects now-playing information and notifies an observer.
///
/// The state of a registered player takes precedence over the information dictionary. Without a
/// player the position is computed from the elapsed time, its time stamp and the rate. Changes
/// within one turn of the main queue are reported together. The information is cleared when the
/// application stops being eligible.
///
/// Thread: main.
class NowPlaying final : public platform::NowPlayingService {
 public:
  /// Both must outlive this object.
  NowPlaying(platform::MainQueue& mainQueue, const platform::Clock& clock)
      : _mainQueue(mainQueue), _clock(clock) {}

  /// Called in a later task of the main queue after each change.
  void setObserver(std::function<void(const NowPlayingState&)> observer) {
    _observer = std::move(observer);
  }

  void setEligible(bool eligible) override;
  void setNowPlayingInfo(const platform::Dictionary& info, int mergePolicy) override;
  void setPlaybackState(platform::NowPlayingPlaybackState state) override;
  platform::Token addRemoteCommandTarget(platform::RemoteCommandTarget& target) override;
  void remotePlaybackDidChange() override { _scheduleUpdate(); }

  void send(const platform::RemoteCommand& command);
  /// Whether the player is paused or stopped by request. False without a player.
  bool isPaused() const;
  NowPlayingState state() const;
  /// The information dictionary without artwork data, and "playbackState" (a number) if it is
  /// known.
  platform::Dictionary status() const;

 private:
  bool _isRunning() const;
  double _infoRate() const;
  /// Restarts the extrapolation at the current position with the current rate.
  void _rebasePosition();
  void _countTrack(const platform::Dictionary& before);
  void _scheduleUpdate();

  platform::MainQueue& _mainQueue;
  const platform::Clock& _clock;
  std::function<void(const NowPlayingState&)> _observer;
  bool _isEligible = false;
  platform::Dictionary _info;
  std::optional<platform::NowPlayingPlaybackState> _playbackState;
  /// Computed from the elapsed time in the information dictionary.
  RunningPosition _position;
  std::uint64_t _track = 0;
  platform::RemoteCommandTargets _targets;
  /// The scheduled update. Destroying it cancels the update.
  platform::Token _scheduledUpdate;
};

}  // namespace box
