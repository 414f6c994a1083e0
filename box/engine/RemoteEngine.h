#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

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

/// Plays media in a process of its own.
///
/// What is asked goes to the process, what became true comes from it. Everything that is read
/// (position, facts, access log) has been told before, so that no call waits for the process.
///
/// While the process has something to do it is asked every few seconds whether it still answers.
/// When it dies the item goes on in another one where it was, and nothing is told; when
/// that one dies within kDeathInterval too, the item fails.
///
/// Threads: main. Lifetime: `queue`, `clock` and `processes` outlive it.
class RemoteEngine : public platform::MediaEngine {
 public:
  static constexpr platform::Duration kDeathInterval = std::chrono::seconds(30);

  /// What the sound of a media process does, as in media::AudioDevice.
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
  std::shared_ptr<platform::VideoOutput> videoOutput() override { return _screen->frames; }

  /// -1 without one.
  pid_t processID() const { return _process ? _process->pid() : -1; }

 private:
  /// What the link's thread uses: where pictures and texts go.
  struct Screen {
    const std::shared_ptr<media::VideoFrames> frames = std::make_shared<media::VideoFrames>();
    media::TextMirror texts;
    std::shared_ptr<media::PositionClock> clock;
  };
  /// What is known of the load, and what was asked of it beyond platform::MediaLoad.
  struct State {
    platform::MediaLoad load;
    bool ready = false;
    bool failed = false;
    bool ended = false;
    /// Whether a play or a pause was asked for that has not been told.
    bool playUntold = false;
    bool pauseUntold = false;
    /// A process took over from a dead one and is not yet where the item was. Its events were told
    /// already.
    bool restoring = false;
    std::optional<media::PositionEvent> position;  ///< the newest while restoring
    /// The newest seek that has no effect yet; another process gets it again.
    std::optional<media::EngineCommand> pendingSeek;
    std::optional<double> seekDestination;
    std::map<std::string, std::optional<std::string>> selections;
    std::map<std::uint32_t, bool> tracks;
    platform::Array accessLog;

    /// The process has work to do, so it has to answer even while the player asks nothing.
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
  void _refreshWhenOld();
  void _supervise();
  void _failLater();

  void _receive(const media::EngineEvent& event);
  void _handle(const media::PlaybackEvent& event);
  void _handle(const media::FactsEvent& event);
  void _handle(const media::AccessLogEvent& event);
  void _handle(const media::PositionEvent& event);
  void _handle(const media::ItemRequestEvent& event) { _items.ask(event); }
  void _handle(const media::CancelRequestEvent& event) { _items.withdraw(event); }
  void _handle(const media::TextEvent& event);
  void _handle(const media::SoundEvent& event);
  void _handle(const media::HelloEvent&) {}
  void _handle(const media::AcknowledgedEvent&) {}
  void _tell(const media::PlaybackEvent& event);
  /// False: no seek was answered by it.
  bool _noteSeek(std::uint64_t serial);
  void _becomeReady(const media::PlaybackEvent& event);
  void _restored();
  void _died();
  void _goOn();
  void _fail(platform::Error error);
  bool _isOf(std::uint64_t generation) const {
    return _state && _state->load.generation == generation;
  }
  void _followStyles();

  platform::MainQueue& _queue;
  const platform::Clock& _clock;
  MediaProcesses& _processes;
  const Sound _sound;
  platform::MediaEngineObserver* _observer = nullptr;
  const std::shared_ptr<Screen> _screen = std::make_shared<Screen>();
  RemoteItems _items;
  std::unique_ptr<MediaProcess> _process;
  std::optional<State> _state;  // none: nothing is loaded
  std::optional<platform::MediaLoad> _prepared;
  platform::MediaFacts _facts;
  platform::TimePoint _factsAt{};
  platform::TimePoint _refreshedAt{};
  std::uint64_t _epoch = 0;
  std::uint64_t _lastSeek = 0;
  std::optional<Death> _death;
  platform::Token _soundArrival;
  platform::Token _styles;
  platform::Token _failing;
  platform::Token _supervision;
};

}  // namespace box
