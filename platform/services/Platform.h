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

/// Everything that the application needs of its box, in one place.
///
/// Workflow: the linked box provides makePlatform(); the entry makes one, installs it with
/// setCurrent(), and runs it. A test makes a box in memory and installs that.
///
/// Lifetime: references handed out are good as long as the platform. Threads: main, except clock(),
/// mainQueue() and current(), which any thread may use.
class Platform {
 public:
  Platform();
  virtual ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  /// The installed platform (asserted to exist).
  static Platform& current();
  /// Null removes it, after which current() fails; its shared instances die first.
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
  /// A player's engine. Never null.
  virtual std::unique_ptr<MediaEngine> makeMediaEngine() = 0;
  /// A surface for a mirrored screen, good until it is closed. Null when the box cannot offer one.
  virtual std::shared_ptr<Layer> makeLayer() = 0;

  /// The one instance of T in this process, made on first use through make_shared, also when
  /// several threads ask at once. It dies with the platform, newest first, on the main thread. T's
  /// constructor may ask for another shared instance; it must not wait for another thread.
  template <typename T>
  std::shared_ptr<T> sharedInstance() {
    const std::lock_guard lock(_instancesMutex);
    if (auto found = _find(typeid(T))) return std::static_pointer_cast<T>(found);
    auto made = std::make_shared<T>();
    _store(typeid(T), made);
    return made;
  }

 protected:
  /// A box whose services the shared instances use while they die calls this first in its
  /// destructor.
  void releaseSharedInstances();

 private:
  std::shared_ptr<void> _find(std::type_index type) const;
  void _store(std::type_index type, std::shared_ptr<void> instance);

  NotificationCenter _notificationCenter;
  /// Recursive, since it is held while an instance is made, which may ask for another one.
  std::recursive_mutex _instancesMutex;
  std::vector<std::pair<std::type_index, std::shared_ptr<void>>> _instances;
};

/// What an application gives its platform before it runs.
class ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;
  /// On the main thread, before anything else runs there.
  virtual bool applicationDidFinishLaunching(const Dictionary& options) = 0;
  /// On the main thread, when the process was told to end. What plays need not be stopped: the
  /// platform closes it afterwards.
  virtual void applicationWillTerminate() = 0;
};

struct Application {
  std::shared_ptr<ApplicationDelegate> delegate;
  /// Makes the root view controller of a presentation.
  std::function<std::shared_ptr<ViewServiceViewController>()> makeRootViewController;
  /// What the application tells of itself to whoever asks for the box's state. Main thread.
  std::function<Dictionary()> status{};
  /// Whether an action by vorlaneUIPerform() would end the process, because only callers inside the
  /// process are trusted not to make it. Main thread.
  std::function<bool(const std::string& action, const Dictionary& params)> isFatalAction{};
};

/// A platform that can be run as a process.
class RunnablePlatform : public Platform {
 public:
  /// Launches `application` and serves it until the process is told to end. Returns the exit
  /// status.
  virtual int run(Application application) = 0;
};

/// The factory that the linked box provides. `argv` as of main(). Null with an exit status when
/// there is nothing to run: after --help or --version, or with options that cannot be understood.
std::unique_ptr<RunnablePlatform> makePlatform(int argc, char** argv, int* exitStatus);

}  // namespace platform
