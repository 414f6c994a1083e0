#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "box/engine/MediaProcess.h"
#include "media/link/ProcessOptions.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/ObserverList.h"

namespace box {

/// Starts media processes, and keeps one spare process ready. Thread: main. Lifetime: as for
/// MediaProcess.
class MediaProcesses {
 public:
  struct Setup {
    std::string program = defaultProgram();
    media::ProcessOptions options = {};
    platform::Duration answerLimit = std::chrono::seconds(5);
    /// Long, because the first start on a machine may have to scan all GStreamer plugins.
    platform::Duration startLimit = std::chrono::seconds(30);
    /// Delay between the use of the spare process and the start of the next one, so that the start
    /// does not compete with the item that begins to play.
    platform::Duration spareDelay = std::chrono::seconds(2);
  };

  MediaProcesses(platform::MainQueue& queue, Setup setup);

  void warmUp();
  /// Returns the spare process, or a new one if there is no spare. Null if none can be started.
  std::unique_ptr<MediaProcess> take();
  /// A sound device may be available now. Calls the sound observers.
  void soundServerDidConnect() { _soundObservers.call(); }
  platform::Token addSoundObserver(std::function<void()> observer) {
    return _soundObservers.add(std::move(observer));
  }
  bool hasSpare() const { return _spare && _spare->isReady(); }
  /// Ends the spare process. No other one is started afterwards.
  void close();

  /// The path of tvvorlane-media: in the folder of this executable, else in ../libexec/tvvorlane.
  static std::string defaultProgram();

 private:
  std::unique_ptr<MediaProcess> _start();
  void _startSpare();

  platform::MainQueue& _queue;
  const Setup _setup;
  std::unique_ptr<MediaProcess> _spare;
  platform::Token _spareTimer;
  platform::ObserverList<> _soundObservers;
  bool _isFirst = true;
  bool _closed = false;
};

}  // namespace box
