#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Token.h"

class TVSStoreDataItem;

namespace platform {

// All functions are called on the main thread unless noted otherwise. Callbacks run on it.

/// Keeps the process alive as long as the object exists.
class ProcessAssertion : public Object {
 public:
  std::string className() const override { return "ProcessAssertion"; }
};

class ProcessAssertionService {
 public:
  virtual ~ProcessAssertionService() = default;
  /// Never null. The assertion has no effect on a system without such a service.
  virtual std::shared_ptr<ProcessAssertion> acquire(std::string_view bundleIdentifier,
                                                    std::uint32_t flags, std::uint32_t reason,
                                                    std::string_view name) = 0;
};

/// Power state and user activity of the system.
class SystemService {
 public:
  virtual ~SystemService() = default;
  virtual void wakeSystem(int reason) = 0;
  virtual void setVorlaneSessionActive(bool active) = 0;
  /// Wakes the screen and resets the idle timers. Any thread.
  virtual void triggerUserActivity() = 0;
};

/// A SystemNotificationService notification that is posted before the device sleeps.
inline constexpr std::string_view TVSPowerManagerDeviceWillSleepNotification =
    "TVSPowerManagerDeviceWillSleepNotification";

class PowerManager {
 public:
  virtual ~PowerManager() = default;
  /// Prevents sleep. On success returns 0 and sets `identifier` to a nonzero value; otherwise
  /// returns a nonzero status.
  virtual std::uint32_t createAssertion(const Dictionary& properties,
                                        std::uint32_t* identifier) = 0;
  virtual void releaseAssertion(std::uint32_t identifier) = 0;
};

/// Named notifications between processes. Each name can have a 64-bit state that processes can
/// read.
class SystemNotificationService {
 public:
  virtual ~SystemNotificationService() = default;
  /// A token for setState(), or std::nullopt on failure.
  virtual std::optional<std::int32_t> registerStateToken(std::string_view name) = 0;
  virtual bool setState(std::int32_t token, std::uint64_t state) = 0;
  /// False on failure.
  virtual bool post(std::string_view name) = 0;
  virtual Token addObserver(std::string_view name, std::function<void()> callback) = 0;
};

/// Notifications with a dictionary between processes.
class DistributedNotificationCenter {
 public:
  virtual ~DistributedNotificationCenter() = default;
  virtual void post(std::string_view name, const Dictionary& info) = 0;
};

/// Posted on Platform::notificationCenter(). The interruption type is a number: 1 at the beginning,
/// 0 at the end.
inline constexpr std::string_view TVSAudioSessionInterruptionNotification =
    "TVSAudioSessionInterruptionNotification";
inline constexpr std::string_view TVSAudioSessionInterruptionTypeKey =
    "TVSAudioSessionInterruptionType";

enum class AudioCategory { Ambient, Playback };

class TVSAudioSession {
 public:
  virtual ~TVSAudioSession() = default;
  /// `callback` is called immediately, and again whenever the session must be configured.
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
  /// Asynchronous: `completion` is called once on the main thread. Destroying the controller
  /// cancels it.
  virtual void fetchAvailableRoutes(std::function<void(std::vector<AudioRoute>)> completion) = 0;
  virtual void selectRoute(const AudioRoute& route) = 0;
  virtual void selectDefaultRoute() = 0;
};

class AudioRoutingService {
 public:
  virtual ~AudioRoutingService() = default;
  virtual std::shared_ptr<AudioRoutingController> makeController(int discoveryMode) = 0;
};

/// Posted on Platform::notificationCenter() when the result of internetAvailable() has changed.
inline constexpr std::string_view TVSInternetAvailabilityDidChangeNotification =
    "TVSInternetAvailabilityDidChangeNotification";

class TVSNetworkUtilities {
 public:
  virtual ~TVSNetworkUtilities() = default;
  virtual bool internetAvailable() = 0;
};

/// The data service of the store.
class TVSCloudDataClient {
 public:
  virtual ~TVSCloudDataClient() = default;
  virtual void connect() = 0;
  /// A new purchase record without properties. Never null.
  virtual std::shared_ptr<TVSStoreDataItem> makeDataItem() = 0;
};

/// Sends the input of the remote control to the view service while one is on screen.
class RemoteInputLimitingCenter {
 public:
  virtual ~RemoteInputLimitingCenter() = default;
  virtual void setViewServiceActive(bool active) = 0;
};

class DeviceInfo {
 public:
  virtual ~DeviceInfo() = default;
  virtual bool isInternalBuild() const = 0;
  /// POSIX locale name of the user's language, such as `de_DE`; "C" if none is set.
  virtual std::string language() const = 0;
  /// The name of the language with BCP 47 tag `tag` in the user's language, in the form used in
  /// lists: "German", "Portuguese (Brazil)". Empty if unknown.
  virtual std::string languageName(std::string_view tag) const = 0;
};

}  // namespace platform
