#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/NowPlayingService.h"
#include "platform/services/ReceiverServiceClient.h"
#include "platform/services/SystemServices.h"

namespace platform {

class Layer;
class MediaEngine;
class Screen;
class ViewServiceHost;
class ViewServiceViewController;

/// Access to all services of the platform.
///
/// Usage: the linked box provides makePlatform(). main() calls it, installs the platform with
/// setCurrent() and runs it. Tests install a simulated platform.
///
/// Lifetime: the returned references are valid as long as the platform. Threads: main, except
/// clock(), mainQueue() and current(), which are safe on any thread.
class Platform {
 public:
  Platform();
  virtual ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  /// The installed platform. Asserts that there is one.
  static Platform& current();
  /// Installs a platform; null removes it. First destroys the shared instances of the previous one.
  static void setCurrent(Platform* platform);

  virtual Clock& clock() = 0;
  virtual MainQueue& mainQueue() = 0;
  NotificationCenter& notificationCenter() { return _notificationCenter; }

  virtual ReceiverServiceClient& receiverServiceClient() = 0;
  virtual NowPlayingService& nowPlaying() = 0;
  virtual ProcessAssertionService& processAssertions() = 0;
  virtual SystemService& systemService() = 0;
  virtual PowerManager& powerManager() = 0;
  virtual SystemNotificationService& systemNotifications() = 0;
  virtual DistributedNotificationCenter& distributedNotifications() = 0;
  virtual TVSAudioSession& audioSession() = 0;
  virtual AudioRoutingService& audioRouting() = 0;
  virtual TVSNetworkUtilities& network() = 0;
  virtual TVSCloudDataClient& cloudData() = 0;
  virtual RemoteInputLimitingCenter& remoteInputLimiting() = 0;
  virtual DeviceInfo& device() = 0;
  virtual ViewServiceHost& viewServiceHost() = 0;
  /// Never null.
  virtual std::unique_ptr<MediaEngine> makeMediaEngine() = 0;
  /// A layer for a mirrored screen, valid until it is closed. Null if the platform has none.
  virtual std::shared_ptr<Layer> makeLayer() = 0;

  /// The single instance of T. Created on first use, on any thread. Destroyed with the platform on
  /// the main thread, newest instance first. The constructor of T may request other shared
  /// instances, but must not wait for another thread.
  template <typename T>
  std::shared_ptr<T> sharedInstance() {
    const std::lock_guard lock(_instancesMutex);
    if (auto found = _find(typeid(T))) return std::static_pointer_cast<T>(found);
    auto made = std::make_shared<T>();
    _store(typeid(T), made);
    return made;
  }

 protected:
  /// Subclasses call this first in their destructors, because the destructors of shared instances
  /// may use services of the subclass.
  void releaseSharedInstances();

 private:
  std::shared_ptr<void> _find(std::type_index type) const;
  void _store(std::type_index type, std::shared_ptr<void> instance);

  NotificationCenter _notificationCenter;
  /// Recursive: it is held while a constructor runs, which may request another instance.
  std::recursive_mutex _instancesMutex;
  std::vector<std::pair<std::type_index, std::shared_ptr<void>>> _instances;
};

/// Start and end of the application. Called on the main thread.
class ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;
  /// Called before anything else runs on the main thread.
  virtual bool applicationDidFinishLaunching(const Dictionary& options) = 0;
  /// Called before the process ends. The delegate need not stop playback; the platform closes the
  /// players afterwards.
  virtual void applicationWillTerminate() = 0;
};

/// The callbacks of an application. The functions are called on the main thread.
struct Application {
  std::shared_ptr<ApplicationDelegate> delegate;
  std::function<std::shared_ptr<ViewServiceViewController>()> makeRootViewController;
  /// The part of a status report that describes the application.
  std::function<Dictionary()> status{};
  /// Whether vorlaneUIPerform() with these arguments would fail an assertion. The platform rejects
  /// such calls from other processes.
  std::function<bool(const std::string& action, const Dictionary& params)> isFatalAction{};
};

/// A platform with a main loop.
class RunnablePlatform : public Platform {
 public:
  /// Launches `application` and runs until the process is asked to end. Returns the exit status.
  virtual int run(Application application) = 0;
};

/// Implemented by the linked box. `argc` and `argv` are those of main(). Returns null and sets
/// `exitStatus` if there is nothing to run: after --help and --version, and for invalid options.
std::unique_ptr<RunnablePlatform> makePlatform(int argc, char** argv, int* exitStatus);

}  // namespace platform
