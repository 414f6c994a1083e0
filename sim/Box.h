#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/media/MediaEngine.h"
#include "platform/services/Platform.h"
#include "platform/ui/controllers/ViewServiceHost.h"
#include "sim/AssertionsThrow.h"  // IWYU pragma: export
#include "sim/Audio.h"
#include "sim/Journal.h"
#include "sim/Layer.h"
#include "sim/LogRecorder.h"
#include "sim/Notifications.h"
#include "sim/ReceiverCall.h"
#include "sim/ReceiverServiceClient.h"
#include "sim/Runner.h"
#include "sim/Screen.h"
#include "sim/SystemServices.h"
#include "sim/VirtualClock.h"

namespace sim {

class MediaLibrary;

struct BoxOptions {
  /// Log level of every component. 3 logs errors only.
  int logLevel = 5;
};

/// A complete box in memory: virtual time, services that record their calls, a screen without a
/// display, scripted media, and a receiver service that the test plays.
///
/// Create it first and destroy it last. The constructor makes it the current platform, makes the
/// calling thread the main thread, and starts recording the log; the destructor reverts that. Then
/// create the objects under test, or launch() an application.
///
///     sim::Box box;
///     auto delegate = std::make_shared<SomeReceiverDelegate>();   // registers itself
///     platform::Dictionary out;
///     const auto status = box.call([&] { return delegate->vorlaneUIStartVideo(params, &out); });
///     box.advance(std::chrono::seconds(5));
///     EXPECT_EQ(box.receiverServiceClient().eventNames(), ...);
///
/// Time advances only in advance(), call() and finish(). No function sleeps. Each waits at most
/// until the thread of the receiver queue finishes a task or blocks.
///
/// If a call can never return, call() and finish() throw std::runtime_error. They stop the main
/// queue before, and abandon the receiver queue and its thread if the thread does not end then. The
/// box can still be destroyed, but makes no further receiver calls. End the test at that point,
/// because the abandoned thread may still use the objects that the call refers to.
///
/// Threads: the creating thread, unless a service documents otherwise.
class Box : public platform::RunnablePlatform {
 public:
  explicit Box(BoxOptions options = {});
  ~Box() override;

  // Running.

  /// Runs everything that is due, on the main thread and on the receiver queue.
  void run() { _runner.run(); }
  /// Advances the time from timer to timer, in order, and runs everything that is due at each.
  void advance(platform::Duration duration) { _runner.advance(duration); }

  /// Makes a receiver call on the thread of the receiver queue and runs the main queue meanwhile.
  /// Returns the result of the call, or throws its exception. Advances the time only if nothing
  /// else is left to do.
  template <typename Function>
  auto call(Function function) {
    return finish(beginCall(std::move(function)));
  }
  /// Starts a call. Returns when the call has returned, or when only an advance of the time can
  /// continue it. A second call starts after the first one has returned.
  template <typename Function>
  auto beginCall(Function function) {
    ReceiverCall<std::invoke_result_t<Function&>> call(std::move(function));
    _runner.begin(call._state);
    return call;
  }
  /// Advances the time until `call` has returned.
  template <typename Result>
  Result finish(const ReceiverCall<Result>& call) {
    _runner.finish(*call._state);
    return call.result();
  }
  /// Virtual time after which a call counts as stuck. Default: 10 minutes.
  void setCallLimit(platform::Duration limit) { _runner.setCallLimit(limit); }

  /// Launches an application like the main program does. Returns the result of its delegate.
  bool launch(platform::Application application);
  /// Notifies the launched application of its termination, and runs everything that is due.
  void terminate();
  /// Launches the application, runs everything that is due, and terminates it. Returns 0, or 1 if
  /// the delegate has refused the launch.
  int run(platform::Application application) override;

  // The log.

  /// All recorded lines.
  std::vector<std::string> log() const;
  /// Number of lines that contain `text`.
  std::size_t logCount(std::string_view text) const;
  /// The first line that contains `text`.
  std::optional<std::string> logLine(std::string_view text) const;
  void clearLog() { _log->clear(); }

  // The services, each with functions for tests.

  VirtualClock& clock() override { return _runner.clock(); }
  platform::MainQueue& mainQueue() override { return _runner.mainQueue(); }
  ReceiverServiceClient& receiverServiceClient() override {
    return _services.receiverServiceClient;
  }
  NowPlayingService& nowPlaying() override { return _services.nowPlaying; }
  ProcessAssertionService& processAssertions() override { return _services.processAssertions; }
  SystemService& systemService() override { return _services.systemService; }
  PowerManager& powerManager() override { return _services.powerManager; }
  SystemNotificationService& systemNotifications() override {
    return _services.systemNotifications;
  }
  DistributedNotificationCenter& distributedNotifications() override {
    return _services.distributedNotifications;
  }
  TVSAudioSession& audioSession() override { return _services.audioSession; }
  AudioRoutingService& audioRouting() override { return _services.audioRouting; }
  TVSNetworkUtilities& network() override { return _services.network; }
  TVSCloudDataClient& cloudData() override { return _services.cloudData; }
  RemoteInputLimitingCenter& remoteInputLimiting() override {
    return _services.remoteInputLimiting;
  }
  DeviceInfo& device() override { return _services.device; }
  platform::ViewServiceHost& viewServiceHost() override { return _viewServiceHost; }
  std::unique_ptr<platform::MediaEngine> makeMediaEngine() override;
  std::shared_ptr<platform::Layer> makeLayer() override { return _layers.make(); }

  Screen& screen() { return _screen; }
  Layers& layers() { return _layers; }
  /// The available media, by URL.
  MediaLibrary& mediaLibrary() { return *_mediaLibrary; }
  /// All calls of the services, in order.
  Journal& journal() { return _services.journal; }

 private:
  static std::shared_ptr<MediaLibrary> _makeMediaLibrary();

  /// The services that write to the journal or receive notifications.
  struct Services {
    Services(platform::MainQueue& mainQueue, platform::NotificationCenter& center)
        : systemNotifications(mainQueue, journal),
          audioSession(center, journal),
          audioRouting(mainQueue, journal),
          network(center) {}

    Journal journal;
    ReceiverServiceClient receiverServiceClient;
    NowPlayingService nowPlaying{journal};
    ProcessAssertionService processAssertions{journal};
    SystemService systemService{journal};
    PowerManager powerManager{journal};
    SystemNotificationService systemNotifications;
    DistributedNotificationCenter distributedNotifications{journal};
    TVSAudioSession audioSession;
    AudioRoutingService audioRouting;
    TVSNetworkUtilities network;
    TVSCloudDataClient cloudData{journal};
    RemoteInputLimitingCenter remoteInputLimiting{journal};
    DeviceInfo device;
  };

  const int _logLevel;
  std::shared_ptr<LogRecorder> _log;
  // Before _runner: its last tasks may release a player.
  std::shared_ptr<MediaLibrary> _mediaLibrary;
  Runner _runner;
  Services _services{_runner.mainQueue(), notificationCenter()};
  Layers _layers;
  Screen _screen{_runner.mainQueue()};
  platform::ViewServiceHost _viewServiceHost{_runner.mainQueue(), _screen};
  // Last, so that it is destroyed before the services that it uses.
  platform::Application _application;
};

}  // namespace sim
