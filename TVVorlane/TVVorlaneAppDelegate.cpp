#include "TVVorlane/TVVorlaneAppDelegate.h"

#include <algorithm>

#include "TVVorlane/TVVorlaneSessionManager.h"
#include "platform/foundation/log/TVSLogger.h"

using platform::Platform;

namespace {

constexpr std::string_view kCloudConnectivityName = "quorin.vorlane.cloudConnectivity";
constexpr std::string_view kProcessAssertionName = "Zumo Vorlane";
constexpr std::uint32_t kProcessAssertionFlags = 12;
constexpr std::uint32_t kProcessAssertionReason = 1;
constexpr int kWakeReason = 0;
constexpr int kRouteDiscoveryMode = 2;
constexpr int kVorlaneSpeakerDeviceType = 3;

}  // namespace

bool TVVorlaneAppDelegate::applicationDidFinishLaunching(const platform::Dictionary&) {
  auto& platform = Platform::current();
  auto& center = platform.notificationCenter();
  _cloudAvailabilityNotifyToken = -1;
  _observers.push_back(
      center.addObserver(platform::TVSInternetAvailabilityDidChangeNotification, nullptr,
                         [this](const auto&) { _updateCloudConnectivityState(); }));
  _observers.push_back(
      center.addObserver(TVVorlaneSessionManagerActiveSessionsDidChangeNotification, nullptr,
                         [this](const auto&) { _updatePlaybackActive(); }));
  platform.cloudData().connect();
  platform.audioSession().setConfigurationCallback([](platform::TVSAudioSession& session) {
    session.setCategory(platform::AudioCategory::Playback);
  });
  _procAssert =
      platform.processAssertions().acquire(kTVVorlaneBundleIdentifier, kProcessAssertionFlags,
                                           kProcessAssertionReason, kProcessAssertionName);
  TVSLogNotice(TVSSystemLog, "Acquiring process assertion: %@", _procAssert);
  _receiverDelegate = TVVorlaneReceiverDelegate::make();
  return true;
}

void TVVorlaneAppDelegate::applicationWillTerminate() { _procAssert = nullptr; }

void TVVorlaneAppDelegate::_updatePlaybackActive() {
  setPlaybackActive(!TVVorlaneSessionManager::sharedInstance()->activeSessions().empty());
}

void TVVorlaneAppDelegate::setPlaybackActive(bool active) {
  if (active == _playbackActive) return;
  _playbackActive = active;
  auto& system = Platform::current().systemService();
  if (active) {
    TVSLogNotice(TVSSystemLog, "Waking device for Vorlane playback");
    system.wakeSystem(kWakeReason);
    system.setVorlaneSessionActive(true);
    _disableVorlaneSpeakerIfNecessary();
  } else {
    system.setVorlaneSessionActive(false);
    _reenableVorlaneSpeakerIfNecessary();
  }
}

void TVVorlaneAppDelegate::_fetchRoutes(
    std::function<void(platform::AudioRoutingController&, const Routes&)> handler) {
  // The callback owns the controller until the routes have been fetched.
  auto controller = Platform::current().audioRouting().makeController(kRouteDiscoveryMode);
  controller->fetchAvailableRoutes([controller, handler = std::move(handler)](
                                       const Routes& routes) { handler(*controller, routes); });
}

void TVVorlaneAppDelegate::_disableVorlaneSpeakerIfNecessary() {
  _fetchRoutes([weak = weak_from_this()](platform::AudioRoutingController& controller,
                                         const Routes& routes) {
    const auto self = weak.lock();
    const auto selected =
        std::find_if(routes.begin(), routes.end(),
                     [](const platform::AudioRoute& route) { return route.selected; });
    if (!self || selected == routes.end() || selected->deviceType != kVorlaneSpeakerDeviceType)
      return;
    if (!selected->identifier) return;
    self->_previousAudioRouteUID = selected->identifier;
    controller.selectDefaultRoute();
  });
}

void TVVorlaneAppDelegate::_reenableVorlaneSpeakerIfNecessary() {
  if (!_previousAudioRouteUID) return;
  _fetchRoutes([weak = weak_from_this(), remembered = _previousAudioRouteUID](
                   platform::AudioRoutingController& controller, const Routes& routes) {
    const auto self = weak.lock();
    if (!self) return;
    const auto found = std::find_if(
        routes.begin(), routes.end(),
        [&](const platform::AudioRoute& route) { return route.identifier == remembered; });
    if (found != routes.end()) {
      // A later playback may have changed the remembered speaker in the meantime.
      if (self->_previousAudioRouteUID != remembered) return;
      controller.selectRoute(*found);
    }
    self->_previousAudioRouteUID = std::nullopt;
  });
}

void TVVorlaneAppDelegate::_updateCloudConnectivityState() {
  auto& notifications = Platform::current().systemNotifications();
  if (_cloudAvailabilityNotifyToken < 0) {
    const auto token = notifications.registerStateToken(kCloudConnectivityName);
    if (!token) {
      TVSLogError(TVSSystemLog, "Vorlane could not get internet connectivity token");
      return;
    }
    _cloudAvailabilityNotifyToken = *token;
  }
  const bool shouldUseCloud = Platform::current().network().internetAvailable();
  TVSLogWarning(TVSSystemLog, "Vorlane set should use cloud:  %@  (internet:  %@)",
                platform::yesNo(shouldUseCloud),
                platform::yesNo(Platform::current().network().internetAvailable()));
  notifications.setState(_cloudAvailabilityNotifyToken, shouldUseCloud ? 1 : 0);
  notifications.post(kCloudConnectivityName);
}
