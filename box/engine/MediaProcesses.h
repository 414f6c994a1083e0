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

/// Starts the media processes of the box, and keeps one spare process ready.
///
/// Threads: main. Lifetime: as MediaProcess.
class MediaProcesses {
 public:
  struct Setup {
    std::string program = besideThisProgram();
    media::ProcessOptions options = {};
    platform::Duration answerLimit = std::chrono::seconds(5);
    /// The media library may have to look at all of its plugins first.
    platform::Duration startLimit = std::chrono::seconds(30);
    /// Between the use of the spare process and the start of the next one, so that this does not
    /// compete with the item that begins.
    platform::Duration spareDelay = std::chrono::seconds(2);
  };

  MediaProcesses(platform::MainQueue& queue, Setup setup);

  /// Starts the spare process.
  void warmUp();
  /// The spare process, or a new one where it is not there; null where none can be made.
  std::unique_ptr<MediaProcess> take();
  /// There may be a sound device now where there was none. Calls the observers.
  void noteSoundArrival() { _soundObservers.call(); }
  platform::Token addSoundObserver(std::function<void()> observer) {
    return _soundObservers.add(std::move(observer));
  }
  bool hasSpare() const { return _spare && _spare->isReady(); }
  /// No new spare is made from here on, and the one there is ends.
  void close();

  /// tvvorlane-media in the folder of this program, or where it is installed.
  static std::string besideThisProgram();

 private:
  std::unique_ptr<MediaProcess> _start();
  void _makeSpare();

  platform::MainQueue& _queue;
  const Setup _setup;
  std::unique_ptr<MediaProcess> _spare;
  platform::Token _making;
  platform::ObserverList<> _soundObservers;
  bool _isFirst = true;
  bool _closed = false;
};

}  // namespace box
