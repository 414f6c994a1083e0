#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/Value.h"

class TVSStoreDataItem;

namespace platform {

// All of these are called on the main thread unless they say otherwise, and call back on it.

/// Keeps the process alive while somebody holds it.
class ProcessAssertion : public Object {
 public:
  std::string className() const override { return "ProcessAssertion"; }
};

class ProcessAssertionService {
 public:
  virtual ~ProcessAssertionService() = default;
  /// Never null: where the box has no such facility, the assertion has no effect.
  virtual std::shared_ptr<ProcessAssertion> acquire(std::string_view bundleIdentifier,
                                                    std::uint32_t flags, std::uint32_t reason,
                                                    std::string_view name) = 0;
};

/// The shell's switchboard for power and activity.
class SystemService {
 public:
  virtual ~SystemService() = default;
  virtual void wakeSystem(int reason) = 0;
  virtual void setVorlaneSessionActive(bool active) = 0;
  /// Wakes the screen and resets the idle timers. Any thread.
  virtual void triggerUserActivity() = 0;
};

/// System-wide notification, posted when the device is about to sleep.
inline constexpr std::string_view TVSPowerManagerDeviceWillSleepNotification =
    "TVSPowerManagerDeviceWillSleepNotification";

class PowerManager {
 public:
  virtual ~PowerManager() = default;
  /// 0 and an identifier that is not 0, or a status that is not 0.
  virtual std::uint32_t createAssertion(const Dictionary& properties,
                                        std::uint32_t* identifier) = 0;
  virtual void releaseAssertion(std::uint32_t identifier) = 0;
};

/// Named notifications between processes, with a 64-bit state for whoever asks later.
class SystemNotificationService {
 public:
  virtual ~SystemNotificationService() = default;
  /// A state token for `name`, or none.
  virtual std::optional<std::int32_t> registerStateToken(std::string_view name) = 0;
  virtual bool setState(std::int32_t token, std::uint64_t state) = 0;
  /// False when it could not be posted.
  virtual bool post(std::string_view name) = 0;
  virtual Token addObserver(std::string_view name, std::function<void()> callback) = 0;
};

/// Notifications with an info dictionary between processes.
class DistributedNotificationCenter {
 public:
  virtual ~DistributedNotificationCenter() = default;
  virtual void post(std::string_view name, const Dictionary& info) = 0;
};

/// Posted on the process-wide centre; the interruption type is a number, 1 when it begins, 0 when
/// it ends.
inline constexpr std::string_view TVSAudioSessionInterruptionNotification =
    "TVSAudioSessionInterruptionNotification";
inline constexpr std::string_view TVSAudioSessionInterruptionTypeKey =
    "TVSAudioSessionInterruptionType";

enum class AudioCategory { Ambient, Playback };

class TVSAudioSession {
 public:
  virtual ~TVSAudioSession() = default;
  /// `callback` is called whenever the session has to be configured, the first time at once.
  virtual void setConfigurationCallback(std::function<void(TVSAudioSession&)> callback) = 0;
  /// False on failure.
  virtual bool setCategory(AudioCategory category) = 0;
};

struct AudioRoute {
  std::optional<std::string> identifier;
  int deviceType = 0;  ///< 3: a Vorlane speaker
  bool selected = false;
  bool isDefault = false;
};

class AudioRoutingController {
 public:
  virtual ~AudioRoutingController() = default;
  /// Answers once, later, on the main thread. Destroying the controller first cancels the answer.
  virtual void fetchAvailableRoutes(std::function<void(std::vector<AudioRoute>)> completion) = 0;
  virtual void selectRoute(const AudioRoute& route) = 0;
  virtual void selectDefaultRoute() = 0;
};

class AudioRoutingService {
 public:
  virtual ~AudioRoutingService() = default;
  virtual std::shared_ptr<AudioRoutingController> makeController(int discoveryMode) = 0;
};

/// Posted on the process-wide centre when the answer of internetAvailable() has changed.
inline constexpr std::string_view TVSInternetAvailabilityDidChangeNotification =
    "TVSInternetAvailabilityDidChangeNotification";

class TVSNetworkUtilities {
 public:
  virtual ~TVSNetworkUtilities() = default;
  virtual bool internetAvailable() = 0;
};

/// The store's data service.
class TVSCloudDataClient {
 public:
  virtual ~TVSCloudDataClient() = default;
  virtual void connect() = 0;
  /// A new record of a purchase, without properties. Never null.
  virtual std::shared_ptr<TVSStoreDataItem> makeDataItem() = 0;
};

/// Routes the remote's input to the view service while one is on screen.
class RemoteInputLimitingCenter {
 public:
  virtual ~RemoteInputLimitingCenter() = default;
  virtual void setViewServiceActive(bool active) = 0;
};

class DeviceInfo {
 public:
  virtual ~DeviceInfo() = default;
  virtual bool isInternalBuild() const = 0;
  /// POSIX locale name of the user's language, such as `de_DE`; "C" where unset.
  virtual std::string language() const = 0;
  /// The language of a BCP 47 tag by its name in the user's language, as it stands in a list:
  /// "German", "Portuguese (Brazil)". Empty where it has none.
  virtual std::string languageName(std::string_view tag) const = 0;
};

}  // namespace platform
