#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/NowPlayingService.h"
#include "platform/services/SystemServices.h"
#include "sim/Journal.h"

namespace sim {

/// Threads: main.
class TVSAudioSession final : public platform::TVSAudioSession {
 public:
  TVSAudioSession(platform::NotificationCenter& center, Journal& journal)
      : _center(center), _journal(journal) {}
  void setConfigurationCallback(std::function<void(platform::TVSAudioSession&)> callback) override;
  /// `audioSession.setCategory(Playback)`
  bool setCategory(platform::AudioCategory category) override;

  void setCategoryFails(bool fails) { _categoryFails = fails; }
  /// As when the audio service was started anew.
  void configureAgain();
  /// Posts the notification before it returns: something else takes the sound, or gives it back.
  void interrupt(bool begins);
  platform::AudioCategory category() const { return _category; }

 private:
  platform::NotificationCenter& _center;
  Journal& _journal;
  std::function<void(platform::TVSAudioSession&)> _callback;
  bool _categoryFails = false;
  platform::AudioCategory _category = platform::AudioCategory::Ambient;
};

/// A list of routes that a test sets up, and which of them is selected.
///
/// Threads: main.
class AudioRoutingService final : public platform::AudioRoutingService {
 public:
  AudioRoutingService(platform::MainQueue& mainQueue, Journal& journal);
  /// `audioRouting.makeController(2)`; of the controllers `audioRouting.fetchAvailableRoutes()`,
  /// `audioRouting.selectRoute(identifier)` and `audioRouting.selectDefaultRoute()`.
  std::shared_ptr<platform::AudioRoutingController> makeController(int discoveryMode) override;

  void setRoutes(std::vector<platform::AudioRoute> routes);
  const std::vector<platform::AudioRoute>& routes() const;
  /// How long a fetch takes; without one, its answer comes on the next turn.
  void setFetchDelay(platform::Duration delay);
  /// Controllers that are alive.
  int controllers() const;
  /// Called before a route is selected.
  void setSelectionHandler(std::function<void()> handler);

 private:
  class Controller;
  struct State;
  // Shared with the controllers, which may outlive the service.
  std::shared_ptr<State> _state;
};

/// What the displays of the box would show.
///
/// Threads: main.
class NowPlayingService final : public platform::NowPlayingService {
 public:
  explicit NowPlayingService(Journal& journal) : _journal(journal) {}
  void setEligible(bool eligible) override;  ///< `nowPlaying.setEligible(YES)`
  /// `nowPlaying.setNowPlayingInfo(0)` with the merge policy.
  void setNowPlayingInfo(const platform::Dictionary& info, int mergePolicy) override;
  /// `nowPlaying.setPlaybackState(1)`
  void setPlaybackState(platform::NowPlayingPlaybackState state) override;

  platform::Token addRemoteCommandTarget(platform::RemoteCommandTarget& target) override {
    return _targets.add(target);
  }
  void remotePlaybackDidChange() override { ++_playbackChanges; }

  /// As a media key would. False where nobody takes it. `nowPlaying.send(0)` with the command's
  /// kind.
  bool send(const platform::RemoteCommand& command);
  /// What a display would show of the playback; nothing where nobody takes commands.
  std::optional<platform::RemotePlayback> playback() const;
  /// How often it was told that there is something new in that.
  int playbackChanges() const { return _playbackChanges; }

  bool isEligible() const { return _eligible; }
  /// After all merges.
  const platform::Dictionary& info() const { return _info; }
  /// Each dictionary as it was given.
  const std::vector<platform::Dictionary>& given() const { return _given; }
  std::optional<platform::NowPlayingPlaybackState> playbackState() const { return _playbackState; }

 private:
  Journal& _journal;
  bool _eligible = false;
  platform::Dictionary _info;
  std::vector<platform::Dictionary> _given;
  std::optional<platform::NowPlayingPlaybackState> _playbackState;
  platform::RemoteCommandTargets _targets;
  int _playbackChanges = 0;
};

}  // namespace sim
