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

/// Gathers what plays, and tells whoever shows it.
///
/// What a player says of its playback counts before what the information says of it; without a
/// player the position follows from the elapsed time given, its time stamp and the rate. Changes of
/// one turn of the main queue are told together. When the application ceases to be eligible, the
/// information is forgotten.
///
/// Threads: main.
class NowPlaying final : public platform::NowPlayingService {
 public:
  /// Both outlive it.
  NowPlaying(platform::MainQueue& mainQueue, const platform::Clock& clock)
      : _mainQueue(mainQueue), _clock(clock) {}

  /// Called with every change, on a later turn.
  void setObserver(std::function<void(const NowPlayingState&)> observer) {
    _observer = std::move(observer);
  }

  void setEligible(bool eligible) override;
  void setNowPlayingInfo(const platform::Dictionary& info, int mergePolicy) override;
  void setPlaybackState(platform::NowPlayingPlaybackState state) override;
  platform::Token addRemoteCommandTarget(platform::RemoteCommandTarget& target) override;
  void remotePlaybackDidChange() override { _tellLater(); }

  /// Hands a command to whoever takes them now.
  void send(const platform::RemoteCommand& command);
  /// The player's playback stands still because somebody wants it to. False without a player.
  bool isPaused() const;
  NowPlayingState state() const;
  /// What was told of what plays, without the artwork's data, and "playbackState" (a number) once
  /// it is known.
  platform::Dictionary status() const;

 private:
  bool _runs() const;
  double _infoRate() const;
  /// The position goes on from where it is by now.
  void _anchor();
  void _countTrack(const platform::Dictionary& before);
  void _tellLater();

  platform::MainQueue& _mainQueue;
  const platform::Clock& _clock;
  std::function<void(const NowPlayingState&)> _observer;
  bool _isEligible = false;
  platform::Dictionary _info;
  std::optional<platform::NowPlayingPlaybackState> _playbackState;
  /// By what was told of the elapsed time.
  RunningPosition _position;
  std::uint64_t _track = 0;
  platform::RemoteCommandTargets _targets;
  /// Drops what is on its way when this goes.
  platform::Token _telling;
};

}  // namespace box
