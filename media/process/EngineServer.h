#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "media/engine/MediaEngine.h"
#include "media/link/EngineMessages.h"
#include "media/link/LinkThread.h"
#include "media/process/RemoteMediaItem.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"

namespace media {

class PictureSender;

/// The media process's end of the link: executes the commands of the box and sends events.
///
/// Facts are sent when they change. Some change without a callback (loaded ranges, the access log).
/// They are checked twice a second while media play or load, and on a RefreshCommand.
///
/// `queue` and `clock` have to outlive it.
/// Threads: main.
class EngineServer final : private platform::MediaEngineObserver {
 public:
  struct Setup {
    int controlSocket = -1;  ///< EngineServer takes ownership
    int pictureSocket = -1;  ///< EngineServer takes ownership
    MediaEngineOptions engine;
    /// The link is closed or broken. Called on the link's thread.
    std::function<void()> ended;
  };

  EngineServer(platform::MainQueue& queue, const platform::Clock& clock, Setup setup);
  ~EngineServer() override;

  /// Returns false if no thread could be started for the link. Then no command will arrive.
  bool isLinked() const { return _link->isRunning(); }
  /// Reports that the process is ready for commands.
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
  void _do(const ItemResponseCommand& command);
  void _do(const RefreshCommand& command);
  void _do(const AudioDeviceAddedCommand& command);

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
  /// Sends the event after everything that changed before it.
  void _sendWithChanges(const PlaybackEvent& event);
  void _sendPosition();
  /// Returns whether the facts had changed.
  bool _sendChangedFacts();
  void _sendChangedAccessLog();
  void _sendChangedErrorLog();
  std::shared_ptr<TVSMediaItem> _itemOf(const LoadCommand& command);
  void _scheduleCheck();

  struct SentState {
    std::uint64_t generation = 0;
    platform::MediaFacts facts;
    platform::Array accessLog;
    platform::TimePoint accessLogAt;
    std::vector<platform::FailedRequest> failedRequests;
  };

  platform::MainQueue& _queue;
  const platform::Clock& _clock;
  std::shared_ptr<AudioDevice> _audio;
  std::shared_ptr<LinkThread> _link;
  std::shared_ptr<RemoteRequests> _requests;
  std::unique_ptr<MediaEngine> _engine;
  std::unique_ptr<PictureSender> _pictures;
  /// The current and the prepared item, by id: the engine needs the same object for the same id.
  std::map<std::uint64_t, std::weak_ptr<TVSMediaItem>> _items;
  std::uint64_t _lastSeek = 0;
  SentState _sent;
  platform::Token _checkTimer;
  bool _timeRuns = false;
  // Queued tasks may outlive this object.
  std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

}  // namespace media
