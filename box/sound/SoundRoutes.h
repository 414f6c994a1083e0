#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "box/sound/SoundServer.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/SystemServices.h"

namespace box {

/// The sinks of the sound server as audio routes, and interruptions of this process's audio.
///
/// The identifier of a route is the name of its sink. The route is a Vorlane speaker (type 3) if
/// the sink's property `vorlane.device-type` is 3 or if its name matches one of `speakerPatterns`.
/// The selected route is the default sink of the server. The default route is the box's own
/// output: the first hardware sink that is not a Vorlane speaker, or else the first sink that is
/// not one.
///
/// Without a sound server there are no routes. Its availability is logged when it changes.
///
/// If the sink or the stream of this process is removed, TVSAudioSessionInterruptionNotification is
/// posted. If the whole server ends, it is not: players continue and have sound again when the
/// server returns. The end of an interruption is never posted, because an interrupted session has
/// ended.
///
/// Thread: main, except start(), which may be called on any thread, once.
class SoundRoutes final : public platform::AudioRoutingService {
 public:
  struct Setup {
    /// fnmatch(3) patterns of sink names.
    std::vector<std::string> speakerPatterns = {};
    /// The server was connected or reconnected. Called on the main thread.
    std::function<void()> serverDidConnect = {};
  };

  /// `mainQueue` and `center` must outlive this object.
  SoundRoutes(platform::MainQueue& mainQueue, platform::NotificationCenter& center, Setup setup);
  ~SoundRoutes() override;
  SoundRoutes(const SoundRoutes&) = delete;
  SoundRoutes& operator=(const SoundRoutes&) = delete;

  void start();
  void stop();

  /// Posts an interruption from the main queue. Thread-safe.
  void interrupt();
  /// A player has lost its audio device. Posts an interruption unless the server is gone.
  /// Thread-safe.
  void handleDeviceLoss();

  std::shared_ptr<platform::AudioRoutingController> makeController(int discoveryMode) override;

 private:
  class Controller;
  struct State;

  void _onMain(std::function<void(State&)> task);
  static void _interrupt(State& state);

  // Tasks in the main queue hold it weakly.
  const std::shared_ptr<State> _state;
};

std::vector<platform::AudioRoute> routesOfSinks(const std::vector<SoundSink>& sinks,
                                                const std::vector<std::string>& speakerPatterns);

}  // namespace box
