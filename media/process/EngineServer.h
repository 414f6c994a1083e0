#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "media/engine/MediaEngine.h"
#include "media/link/EngineMessages.h"
#include "media/link/LinkThread.h"
#include "media/process/RemoteMediaItem.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"

namespace media {

class PictureSender;

/// The media process's end of the link: does what the box commands and tells what became true.
///
/// Facts are told when they change. Those that change without a callback, such as loaded ranges and
/// the access log, are looked at twice a second while time runs or something is being loaded, and
/// when the box asks; otherwise the process sleeps.
///
/// Threads: main. Lifetime: `queue` and `clock` outlive it.
class EngineServer final : private platform::MediaEngineObserver {
 public:
  struct Setup {
    int controlSocket = -1;  ///< owned from here on
    int pictureSocket = -1;  ///< owned from here on
    MediaEngineOptions engine;
    /// The box has closed the link, or has broken it. Called on the link's thread.
    std::function<void()> ended;
  };

  EngineServer(platform::MainQueue& queue, const platform::Clock& clock, Setup setup);
  ~EngineServer() override;

  /// False: the system had no thread for the link, and no command will come.
  bool isLinked() const { return _link->isRunning(); }
  /// The process is ready for commands.
  void greet(std::string version);

 private:
  void _receive(std::span<const std::byte> message);
  void _execute(const NumberedCommand& command);
  void _do(const LoadCommand& command);
  void _do(const UnloadCommand& command);
  void _do(const CancelPreparationCommand& command);
  void _do(const PlayCommand& command);
  void _do(const PauseCommand& command);
  void _do(const SeekCommand& command);
  void _do(const SeekToDateCommand& command);
  void _do(const EndTimesCommand& command);
  void _do(const VolumeCommand& command);
  void _do(const TrackCommand& command);
  void _do(const SelectCommand& command);
  void _do(const AnswerCommand& command);
  void _do(const RefreshCommand& command);
  void _do(const SoundArrivedCommand& command);

  void engineDidBecomeReady(std::uint64_t generation) override;
  void engineDidPlay(std::uint64_t generation, double rate) override;
  void engineDidPause(std::uint64_t generation) override;
  void engineDidStall(std::uint64_t generation) override;
  void engineDidSeek(std::uint64_t generation) override;
  void engineDidReachEnd(std::uint64_t generation) override;
  void engineDidFail(std::uint64_t generation, const platform::Error& error) override;
  void engineFactsDidChange(std::uint64_t generation) override;
  void engineSelectionDidChange(std::uint64_t generation,
                                const std::string& characteristic) override;

  void _send(const EngineEvent& event) { _link->send(encode(event)); }
  /// Behind everything that has changed with it.
  void _tell(const HappenedEvent& event);
  void _tellPosition();
  /// Whether something had changed.
  bool _tellFacts();
  void _tellAccessLog();
  std::shared_ptr<TVSMediaItem> _itemOf(const LoadCommand& command);
  void _watch();

  struct Told {
    std::uint64_t generation = 0;
    platform::MediaFacts facts;
    platform::Array accessLog;
  };

  platform::MainQueue& _queue;
  std::shared_ptr<AudioDevice> _audio;
  std::shared_ptr<LinkThread> _link;
  std::shared_ptr<RemoteRequests> _requests;
  std::unique_ptr<MediaEngine> _engine;
  std::unique_ptr<PictureSender> _pictures;
  /// Of the load and of what is prepared: the same number has to be the same object.
  std::map<std::uint64_t, std::weak_ptr<TVSMediaItem>> _items;
  std::uint64_t _lastSeek = 0;
  Told _told;
  platform::Token _watching;
  bool _timeRuns = false;
  // Tasks that wait in the queue may outlive this.
  std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

}  // namespace media
