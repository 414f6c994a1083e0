#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TVVorlane/TVVorlaneReceiverDelegate.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"
#include "platform/services/Platform.h"

inline constexpr std::string_view kTVVorlaneBundleIdentifier = "quorin.tvvorlane";

/// Owns the receiver delegate. While sessions are registered it keeps the device awake and routes
/// audio away from a Vorlane speaker. It holds a process assertion until the process terminates,
/// and publishes whether the cloud is reachable.
///
/// Threads: main. Lifetime: one per process.
class TVVorlaneAppDelegate final : public platform::Object,
                                   public platform::ApplicationDelegate,
                                   public std::enable_shared_from_this<TVVorlaneAppDelegate> {
 public:
  std::string className() const override { return "TVVorlaneAppDelegate"; }

  bool applicationDidFinishLaunching(const platform::Dictionary& options) override;
  /// Releases the process assertion. Does not stop the sessions; the platform closes their
  /// resources.
  void applicationWillTerminate() override;

  /// True while at least one session is registered.
  bool playbackActive() const { return _playbackActive; }
  void setPlaybackActive(bool active);
  std::int32_t cloudAvailabilityNotifyToken() const { return _cloudAvailabilityNotifyToken; }
  const std::shared_ptr<platform::ProcessAssertion>& procAssert() const { return _procAssert; }
  const std::shared_ptr<TVVorlaneReceiverDelegate>& receiverDelegate() const {
    return _receiverDelegate;
  }
  /// The Vorlane speaker that was selected before playback began.
  const std::optional<std::string>& previousAudioRouteUID() const { return _previousAudioRouteUID; }

 private:
  using Routes = std::vector<platform::AudioRoute>;

  void _updatePlaybackActive();
  void _updateCloudConnectivityState();
  void _disableVorlaneSpeakerIfNecessary();
  void _reenableVorlaneSpeakerIfNecessary();
  void _fetchRoutes(std::function<void(platform::AudioRoutingController&, const Routes&)> handler);

  bool _playbackActive = false;
  std::int32_t _cloudAvailabilityNotifyToken = -1;
  std::shared_ptr<platform::ProcessAssertion> _procAssert;
  std::shared_ptr<TVVorlaneReceiverDelegate> _receiverDelegate;
  std::optional<std::string> _previousAudioRouteUID;
  std::vector<platform::Token> _observers;
};
