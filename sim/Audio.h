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
  bool setCategory(platform::AudioCategory category) override;

  void setCategoryFails(bool fails) { _categoryFails = fails; }
  /// Simulates a restart of the audio service.
  void simulateServiceRestart();
  /// Posts the notification synchronously: another program takes the audio output or returns it.
  void interrupt(bool begins);
  platform::AudioCategory category() const { return _category; }

 private:
  platform::NotificationCenter& _center;
  Journal& _journal;
  std::function<void(platform::TVSAudioSession&)> _callback;
  bool _categoryFails = false;
  platform::AudioCategory _category = platform::AudioCategory::Ambient;
};

/// A list of audio routes that a test sets, one of which is selected. Main thread.
class AudioRoutingService final : public platform::AudioRoutingService {
 public:
  AudioRoutingService(platform::MainQueue& mainQueue, Journal& journal);
  /// Journal: `audioRouting.makeController(2)`. The controllers add
  /// `audioRouting.fetchAvailableRoutes()`, `audioRouting.selectRoute(identifier)` and
  /// `audioRouting.selectDefaultRoute()`.
  std::shared_ptr<platform::AudioRoutingController> makeController(int discoveryMode) override;

  void setRoutes(std::vector<platform::AudioRoute> routes);
  const std::vector<platform::AudioRoute>& routes() const;
  /// Duration of a fetch. With 0 it completes on the next turn of the main queue.
  void setFetchDelay(platform::Duration delay);
  /// Number of existing controllers.
  int controllers() const;
  /// Called before a route is selected.
  void setSelectionHandler(std::function<void()> handler);

 private:
  class Controller;
  struct State;
  // Shared with the controllers, which may outlive the service.
  std::shared_ptr<State> _state;
};

/// Keeps what an application publishes as now playing. Main thread.
class NowPlayingService final : public platform::NowPlayingService {
 public:
  explicit NowPlayingService(Journal& journal) : _journal(journal) {}
  void setEligible(bool eligible) override;
  /// Journal: `nowPlaying.setNowPlayingInfo(0)`, with the merge policy.
  void setNowPlayingInfo(const platform::Dictionary& info, int mergePolicy) override;
  void setPlaybackState(platform::NowPlayingPlaybackState state) override;

  platform::Token addRemoteCommandTarget(platform::RemoteCommandTarget& target) override {
    return _targets.add(target);
  }
  void remotePlaybackDidChange() override { ++_playbackChanges; }

  /// Sends a command as a media key does. Returns false if no target handles it. Journal:
  /// `nowPlaying.send(0)`, with the kind of the command.
  bool send(const platform::RemoteCommand& command);
  /// The playback that a display would show. Empty without a command target.
  std::optional<platform::RemotePlayback> playback() const;
  /// Number of change notifications for playback().
  int playbackChanges() const { return _playbackChanges; }

  bool isEligible() const { return _eligible; }
  /// The result of all merges.
  const platform::Dictionary& info() const { return _info; }
  /// Each dictionary as it was passed in.
  const std::vector<platform::Dictionary>& publishedInfos() const { return _publishedInfos; }
  std::optional<platform::NowPlayingPlaybackState> playbackState() const { return _playbackState; }

 private:
  Journal& _journal;
  bool _eligible = false;
  platform::Dictionary _info;
  std::vector<platform::Dictionary> _publishedInfos;
  std::optional<platform::NowPlayingPlaybackState> _playbackState;
  platform::RemoteCommandTargets _targets;
  int _playbackChanges = 0;
};

}  // namespace sim
