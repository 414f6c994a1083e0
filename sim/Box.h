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
  /// Of every component; 3 writes errors only.
  int logLevel = 5;
};

/// A whole box in memory: virtual time, services that remember what was asked of them, a screen
/// that shows nothing, media that a script describes, and a receiver service that a test plays.
///
/// Workflow: make it first and destroy it last. The constructor makes it the current platform and
/// its thread the main thread, and records the log; the destructor undoes that. Then make what is
/// to be tested, or launch() an application.
///
///     sim::Box box;
///     auto delegate = std::make_shared<SomeReceiverDelegate>();   // registers itself
///     platform::Dictionary out;
///     const auto status = box.call([&] { return delegate->vorlaneUIStartVideo(params, &out); });
///     box.advance(std::chrono::seconds(5));
///     EXPECT_EQ(box.receiverServiceClient().eventNames(), ...);
///
/// Time stands still outside advance(), call() and finish(). No operation here sleeps; each waits
/// at most for the receiver queue's thread to finish a task or to wait itself.
///
/// A call that can never return throws std::runtime_error out of call() or finish(). Before that,
/// the main queue is stopped, and the receiver queue is given up with its thread if that does not
/// end it: the box can be destroyed, and makes no further receiver call. What the call refers to by
/// reference must not be touched by its thread afterwards, so let a test end there.
///
/// Threads: the one that made it, save where a service says otherwise.
class Box : public platform::RunnablePlatform {
 public:
  explicit Box(BoxOptions options = {});
  ~Box() override;

  // Running.

  /// Everything that is due now, on the main thread and on the receiver queue.
  void run() { _runner.run(); }
  /// From timer to timer, in order; at each one everything that is due.
  void advance(platform::Duration duration) { _runner.advance(duration); }

  /// Makes a receiver call on the receiver queue's thread, runs the main queue meanwhile, and
  /// returns what the call returned, or throws what it threw. Time moves only when nothing else
  /// goes on.
  template <typename Function>
  auto call(Function function) {
    return finish(beginCall(std::move(function)));
  }
  /// Begins one, and returns once it has returned or nothing more happens without time moving. A
  /// second one waits until the first has returned.
  template <typename Function>
  auto beginCall(Function function) {
    ReceiverCall<std::invoke_result_t<Function&>> call(std::move(function));
    _runner.begin(call._state);
    return call;
  }
  /// Moves the time until `call` has returned.
  template <typename Result>
  Result finish(const ReceiverCall<Result>& call) {
    _runner.finish(*call._state);
    return call.result();
  }
  /// Virtual time that a call may take before it counts as stuck; 10 minutes unless set.
  void setCallLimit(platform::Duration limit) { _runner.setCallLimit(limit); }

  /// Launches an application as the entry would, and returns what its delegate answered.
  bool launch(platform::Application application);
  /// Tells the launched application that it ends, and runs what is due.
  void terminate();
  /// Launches it, runs what is due, and terminates it. The status is 0, or 1 when it refused the
  /// launch.
  int run(platform::Application application) override;

  // The log.

  /// The lines so far, whole.
  std::vector<std::string> log() const;
  /// How many lines hold `text`.
  std::size_t logCount(std::string_view text) const;
  /// The first line that holds `text`.
  std::optional<std::string> logLine(std::string_view text) const;
  void clearLog() { _log->clear(); }

  // The services, each with what a test needs of it.

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
  /// What can be played, by URL.
  MediaLibrary& mediaLibrary() { return *_mediaLibrary; }
  /// Everything that was asked of the services, in order.
  Journal& journal() { return _services.journal; }

 private:
  static std::shared_ptr<MediaLibrary> _makeMediaLibrary();

  /// What writes in the journal, and what is told by notifications.
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
  // Before the queue, whose last tasks may let a player go.
  std::shared_ptr<MediaLibrary> _mediaLibrary;
  Runner _runner;
  Services _services{_runner.mainQueue(), notificationCenter()};
  Layers _layers;
  Screen _screen{_runner.mainQueue()};
  platform::ViewServiceHost _viewServiceHost{_runner.mainQueue(), _screen};
  // Last: dies before everything that it may use.
  platform::Application _application;
};

}  // namespace sim
