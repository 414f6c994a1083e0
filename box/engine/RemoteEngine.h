#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "box/engine/MediaProcess.h"
#include "box/engine/MediaProcesses.h"
#include "box/engine/RemoteItems.h"
#include "media/link/EngineMessages.h"
#include "media/link/TextMirror.h"
#include "media/output/PositionClock.h"
#include "media/output/VideoFrames.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/MediaEngine.h"

namespace box {

/// A MediaEngine that plays media in a child process.
///
/// Calls become commands to the process; its events update the state that position(), facts() and
/// the logs return. No call waits for the process.
///
/// While an item is active, the engine sends a command every few seconds to detect a hung process.
/// When the process dies, the engine starts another one at the same position without notifying the
/// observer. The item fails if the second process dies within kDeathInterval too.
///
/// Thread: main. `queue`, `clock` and `processes` must outlive this object.
class RemoteEngine : public platform::MediaEngine {
 public:
  static constexpr platform::Duration kDeathInterval = std::chrono::seconds(30);

  /// Sound events of the media process, as in media::AudioDevice.
  struct Sound {
    std::function<void()> interrupted;
    std::function<void()> lost;
  };

  RemoteEngine(platform::MainQueue& queue, const platform::Clock& clock, MediaProcesses& processes,
               Sound sound = {});
  ~RemoteEngine() override;

  void setObserver(platform::MediaEngineObserver* observer) override { _observer = observer; }
  void load(const platform::MediaLoad& load) override;
  void unload() override;
  void prepare(const platform::MediaLoad& load) override;
  void cancelPreparation() override;
  void play(double rate) override;
  void pause() override;
  void seek(double seconds) override;
  void seekToDate(platform::Date date) override;
  void setEndTimes(std::optional<double> forwardSeconds,
                   std::optional<double> reverseSeconds) override;
  void setVolume(float volume) override;
  void setMuted(bool muted) override;
  void setTrackEnabled(std::uint32_t trackID, bool enabled) override;
  void selectOption(const std::string& characteristic,
                    const std::optional<std::string>& identifier) override;
  double position() override;
  const platform::MediaFacts& facts() override;
  platform::Array accessLog() override;
  std::vector<platform::FailedRequest> failedRequests() override;
  std::shared_ptr<platform::VideoOutput> videoOutput() override { return _output->frames; }

  /// The process id, or -1 without a process.
  pid_t processID() const { return _process ? _process->pid() : -1; }

 private:
  /// Output state that the link's thread uses too.
  struct Output {
    const std::shared_ptr<media::VideoFrames> frames = std::make_shared<media::VideoFrames>();
    media::TextMirror texts;
    std::shared_ptr<media::PositionClock> clock;
  };
  /// State of the load, and the requests after it that platform::MediaLoad does not hold.
  struct State {
    platform::MediaLoad load;
    bool ready = false;
    bool failed = false;
    bool ended = false;
    /// A play() or pause() whose event has not arrived yet.
    bool playPending = false;
    bool pausePending = false;
    /// A new process replaces a dead one and has not reached the position yet. Its events are not
    /// forwarded, because the observer got them from the dead process.
    bool restoring = false;
    std::optional<media::PositionEvent> position;  ///< the latest one while restoring
    /// The latest seek that is not complete. It is sent again to a replacement process.
    std::optional<media::EngineCommand> pendingSeek;
    std::optional<double> seekDestination;
    std::map<std::string, std::optional<std::string>> selections;
    std::map<std::uint32_t, bool> tracks;
    platform::Array accessLog;
    std::vector<platform::FailedRequest> failedRequests;

    /// Whether the process is working, so that it has to be supervised.
    bool isBusy() const {
      return !failed && (!ready || restoring || seekDestination || (load.playing && !ended));
    }
  };
  struct Death {
    std::weak_ptr<TVSMediaItem> item;
    platform::TimePoint at{};
  };

  bool _ensureProcess();
  void _send(media::EngineCommand command);
  void _sendLoad(const platform::MediaLoad& load, bool prepares);
  void _requestRefresh();
  void _supervise();
  void _failAsynchronously();

  void _receive(const media::EngineEvent& event);
  void _handle(const media::PlaybackEvent& event);
  void _handle(const media::FactsEvent& event);
  void _handle(const media::AccessLogEvent& event);
  void _handle(const media::ErrorLogEvent& event);
  void _handle(const media::PositionEvent& event);
  void _handle(const media::ItemRequestEvent& event) { _items.request(event); }
  void _handle(const media::CancelRequestEvent& event) { _items.cancel(event); }
  void _handle(const media::TextEvent& event);
  void _handle(const media::SoundEvent& event);
  void _handle(const media::HelloEvent&) {}
  void _handle(const media::AcknowledgedEvent&) {}
  void _notify(const media::PlaybackEvent& event);
  /// Completes the pending seek. Returns false if `serial` is not that of the pending seek.
  bool _completeSeek(std::uint64_t serial);
  void _becomeReady(const media::PlaybackEvent& event);
  void _finishRestore();
  void _processDied();
  void _restart();
  void _fail(platform::Error error);
  bool _isCurrent(std::uint64_t generation) const {
    return _state && _state->load.generation == generation;
  }
  void _observeStyles();

  platform::MainQueue& _queue;
  const platform::Clock& _clock;
  MediaProcesses& _processes;
  const Sound _sound;
  platform::MediaEngineObserver* _observer = nullptr;
  const std::shared_ptr<Output> _output = std::make_shared<Output>();
  RemoteItems _items;
  std::unique_ptr<MediaProcess> _process;
  std::optional<State> _state;  // nothing: no item is loaded
  std::optional<platform::MediaLoad> _prepared;
  platform::MediaFacts _facts;
  platform::TimePoint _factsAt{};
  platform::TimePoint _refreshedAt{};
  std::uint64_t _epoch = 0;
  std::uint64_t _lastSeek = 0;
  std::optional<Death> _death;
  platform::Token _soundObservation;
  platform::Token _styles;
  platform::Token _failureTask;
  platform::Token _supervision;
};

}  // namespace box
