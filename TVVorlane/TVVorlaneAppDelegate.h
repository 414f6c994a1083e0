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

/// Owns the receiver delegate, keeps the process alive and the device awake while sessions are
/// registered, moves the sound off a Vorlane speaker meanwhile, and publishes whether the cloud can
/// be reached.
///
/// Threads: main. Lifetime: one a process.
class TVVorlaneAppDelegate final : public platform::Object,
                                   public platform::ApplicationDelegate,
                                   public std::enable_shared_from_this<TVVorlaneAppDelegate> {
 public:
  std::string className() const override { return "TVVorlaneAppDelegate"; }

  bool applicationDidFinishLaunching(const platform::Dictionary& options) override;
  /// Releases the process assertion. The sessions are left as they are; the platform closes what
  /// they use.
  void applicationWillTerminate() override;

  /// Whether at least one session is registered.
  bool playbackActive() const { return _playbackActive; }
  void setPlaybackActive(bool active);
  std::int32_t cloudAvailabilityNotifyToken() const { return _cloudAvailabilityNotifyToken; }
  const std::shared_ptr<platform::ProcessAssertion>& procAssert() const { return _procAssert; }
  const std::shared_ptr<TVVorlaneReceiverDelegate>& receiverDelegate() const {
    return _receiverDelegate;
  }
  /// The Vorlane speaker that playback has moved the sound away from.
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
