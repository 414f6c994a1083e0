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

/// The sound server's sinks as audio routes, and its word on this process's sound.
///
/// A route's identifier is its sink's name. It is a Vorlane speaker (type 3) when the sink's
/// property `vorlane.device-type` is 3, or when its name fits one of the patterns that the box was
/// given. The selected route is the server's default sink; the default route is the box's own
/// output: the first hardware sink that is no Vorlane speaker, or else the first of the others.
///
/// Where there is no sound server the routes are none; one line says when it is missing, has gone,
/// and has come back.
///
/// When the sink that this process plays to is taken away, or its stream is, that is an
/// interruption, posted as TVSAudioSessionInterruptionNotification. When the whole server goes it
/// is none, since players play on and sound again when it is back. The end of one is never posted:
/// a session that was interrupted has ended.
///
/// Threads: main, but for start(), which any thread may call once.
class SoundRoutes final : public platform::AudioRoutingService {
 public:
  struct Setup {
    /// Shell patterns, as of fnmatch(3).
    std::vector<std::string> speakerPatterns = {};
    /// The server has come, or come back. Main thread.
    std::function<void()> serverIsThere = {};
  };

  /// Queue and centre outlive it.
  SoundRoutes(platform::MainQueue& mainQueue, platform::NotificationCenter& center, Setup setup);
  ~SoundRoutes() override;
  SoundRoutes(const SoundRoutes&) = delete;
  SoundRoutes& operator=(const SoundRoutes&) = delete;

  void start();
  void stop();

  /// Posts an interruption from the main queue. Any thread.
  void interrupt();
  /// A player has lost its sound: an interruption, unless the whole server has gone. Any thread.
  void noteLoss();

  std::shared_ptr<platform::AudioRoutingController> makeController(int discoveryMode) override;

 private:
  class Controller;
  struct State;

  void _onMain(std::function<void(State&)> task);
  static void _interrupt(State& state);

  // What is on its way to the main queue holds it weakly.
  const std::shared_ptr<State> _state;
};

/// The routes that the sinks make.
std::vector<platform::AudioRoute> routesOfSinks(const std::vector<SoundSink>& sinks,
                                                const std::vector<std::string>& speakerPatterns);

}  // namespace box
