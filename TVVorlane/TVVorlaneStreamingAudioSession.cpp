#include "TVVorlane/TVVorlaneStreamingAudioSession.h"

#include <chrono>

#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"

using namespace std::chrono_literals;
using platform::Platform;

namespace {

constexpr std::string_view kStopNotification = "quorin.vorlane.dacp.stop";
constexpr std::string_view kPreventNotification = "quorin.vorlane.playbackPrevent";
constexpr std::string_view kAllowNotification = "quorin.vorlane.playbackAllow";
constexpr auto kPreventionTime = 15s;

/// Prevents playback for kPreventionTime. "Set" and "Unset" are swapped in the two warnings. They
/// are kept, because existing log searches rely on them.
void preventPlaybackTemporarily() {
  auto& platform = Platform::current();
  std::uint32_t assertion = 0;
  const std::uint32_t status = platform.powerManager().createAssertion(
      {{"AssertType", "PreventUserIdleSystemSleep"},
       {"AssertLevel", 255},
       {"AssertName", "quorin.tvvorlane.vorlane-prevent-playback"}},
      &assertion);
  if (status != 0) {
    TVSLogError(TVSSystemLog, "Failed to create vorlane-prevent-playback assertion: %x", status);
    return;
  }
  if (!platform.systemNotifications().post(kPreventNotification)) {
    // The assertion is kept: the device must not sleep while its playback state is unknown.
    TVSLogError(TVSSystemLog, "PM: *** Failed to stop Vorlane activity ***");
    return;
  }
  TVSLogWarning(TVSSystemLog, "Unset vorlane-prevent-playback assertion.");
  platform.mainQueue()
      .after(kPreventionTime,
             [assertion] {
               TVSLogWarning(TVSSystemLog, "Set vorlane-prevent-playback assertion.");
               if (!Platform::current().systemNotifications().post(kAllowNotification)) {
                 TVSLogError(TVSSystemLog, "PM: *** Failed to re-enable Vorlane ***");
               }
               if (assertion != 0) Platform::current().powerManager().releaseAssertion(assertion);
             })
      .detach();
}

}  // namespace

TVVorlaneStreamingAudioSession::TVVorlaneStreamingAudioSession()
    : _sleepObserver(Platform::current().systemNotifications().addObserver(
          platform::TVSPowerManagerDeviceWillSleepNotification, [this] { _deviceWillSleep(); })) {}

void TVVorlaneStreamingAudioSession::startWithOptions(const platform::Dictionary& options,
                                                      StartCompletion completion) {
  std::optional<platform::Error> invalid;
  if (!TVVorlaneUtilities::validateParameters(options, &invalid)) {
    completion(std::nullopt, invalid);
    return;
  }
  _initialOptions = options;
  _sessionID = _sessionIDOf(options);
  TVVorlaneSessionManager::sharedInstance()->registerSession(
      shared_from_this(),
      [completion = std::move(completion)](const auto& error) { completion(std::nullopt, error); });
}

bool TVVorlaneStreamingAudioSession::stopWithOptions(const platform::Value& options,
                                                     std::optional<platform::Error>* error) {
  if (!TVVorlaneUtilities::validateParameters(options, error)) return false;
  const auto self = shared_from_this();
  _initialOptions = std::nullopt;
  TVVorlaneSessionManager::sharedInstance()->deregisterSession(self, true);
  return true;
}

bool TVVorlaneStreamingAudioSession::setProperty(const std::string& property,
                                                 const platform::Value&,
                                                 const platform::Value& value,
                                                 std::optional<platform::Error>* error) {
  if (!TVVorlaneUtilities::validateParameters(platform::Dictionary{{property, value}}, error))
    return false;
  if (property == TVVorlaneStreamingAudioTimeDataKey) {
    const auto* info = value.asDictionary();
    Platform::current().distributedNotifications().post(TVVorlaneTimeNotificationName,
                                                        info ? *info : platform::Dictionary());
  }
  return true;
}

void TVVorlaneStreamingAudioSession::_deviceWillSleep() {
  const auto self = shared_from_this();
  const platform::Dictionary info{{"sessionID", _sessionID}, {"userExit", true}};
  _postEvent("stopAudio", info);
  _postEvent("userStop", info);
  Platform::current().systemNotifications().post(kStopNotification);
  preventPlaybackTemporarily();
}
