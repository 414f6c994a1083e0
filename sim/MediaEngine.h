#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/MediaEngine.h"
#include "platform/media/PendingRequests.h"
#include "sim/MediaLibrary.h"

namespace sim {

/// Plays scripted media against a clock: nothing is decoded, but positions, ends, stalls and
/// failures happen when they would.
///
/// A URL that the library does not know fails with FileDoesNotExist. A request of the script fails
/// the load with the error that it is answered with, with ContentNotAuthorized for a key without
/// data, and with BadServerResponse after ten redirects in a row. What is prepared has so much of
/// its loading behind it when it is loaded; what it must ask for it asks for then. Rates are
/// clamped to ±8. Every callback is a task of its own on the main queue. Between two events of the
/// script there is no timer and no work: positions are computed when asked for.
///
/// Threads and lifetime: as platform::MediaEngine. Queue, clock and library outlive it.
class MediaEngine final : public platform::MediaEngine {
 public:
  MediaEngine(platform::MainQueue& mainQueue, const platform::Clock& clock, MediaLibrary& library);
  ~MediaEngine() override;
  MediaEngine(const MediaEngine&) = delete;
  MediaEngine& operator=(const MediaEngine&) = delete;

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
  std::shared_ptr<platform::VideoOutput> videoOutput() override { return _videoOutput; }

  // For tests.

  /// The calls that were made, oldest first: "load URL", "unload", "prepare URL", "play 1",
  /// "pause", "seek 5". The newest thousand.
  const std::vector<std::string>& calls() const { return _calls; }
  void clearCalls() { _calls.clear(); }
  bool isLoaded() const { return _stage != Stage::Idle; }
  /// Time runs.
  bool isRunning() const { return _runs(); }
  bool isSeeking() const { return _holds.seeking; }
  /// What is prepared, or null.
  std::shared_ptr<TVSMediaItem> preparedItem() const {
    return _preparation ? _preparation->load.item : nullptr;
  }
  /// Requests that wait for an answer.
  std::size_t pendingRequests() const { return _requests.count(); }
  /// The load in progress with what was changed since; that of the last one after unload().
  const platform::MediaLoad& currentLoad() const { return _load; }
  /// Reports a failure as if the media had broken off now.
  void fail(platform::Error error);

 private:
  enum class Stage { Idle, Loading, Ready, Failed };
  /// What keeps a ready load from running; they do not exclude each other.
  struct Holds {
    bool paused = false;
    bool stalled = false;
    bool asking = false;  ///< for a request's answer
    bool seeking = false;
    bool ended = false;
  };
  struct Preparation {
    platform::MediaLoad load;
    platform::TimePoint since{};
  };
  /// Where time runs from, and how fast.
  struct Motion {
    double rate = 1;
    double position = 0;
    platform::TimePoint since{};
  };
  /// What a seek before the load is ready asks for.
  struct Wanted {
    std::optional<double> seconds;
    std::optional<platform::Date> date;
  };
  /// What of the script is over.
  struct Passed {
    std::set<std::size_t> stalls;
    std::set<std::size_t> requests;
    int redirects = 0;
    bool failure = false;
  };
  struct Timers {
    platform::Token next;  ///< on the time line
    platform::Token stall;
    platform::Token buffering;
    platform::Token seek;
  };
  struct Event {
    enum class Kind { End, Stall, Failure, Metadata, Request } kind;
    double position = 0;
    std::size_t index = 0;
  };

  void _record(std::string call);
  /// A task that is dropped when the load is another one by then.
  void _post(std::function<void(platform::MediaEngineObserver&, std::uint64_t generation)> report);
  void _reportMotion();

  /// Asks for the rest of what the load needs from `first` on, then becomes ready.
  void _finishLoad(std::size_t first);
  /// Tells of the script's buffering from its step `next` on, as they come up during the load.
  void _reportBuffering(std::size_t next);
  void _becomeReady();
  /// Asks for a request of the script; `answered` is called when it was satisfied, with the media
  /// that it was redirected to, or null.
  void _ask(std::size_t index, std::function<void(std::shared_ptr<const MediaScript>)> answered);
  double _startPosition() const;
  bool _runs() const;
  /// Position now, without a seek that is under way.
  double _runningPosition() const;
  double _liveEdge() const;
  double _clamped(double seconds) const;
  void _anchor(double position);
  void _seekTo(double seconds);
  void _finishSeek();
  std::optional<Event> _nextEvent() const;
  bool _atEnd() const;
  void _reachEnd();
  /// Sets the timer for what comes next on the time line.
  void _schedule();
  void _handle(const Event& event);

  platform::MainQueue& _mainQueue;
  const platform::Clock& _clock;
  MediaLibrary& _library;
  platform::MediaEngineObserver* _observer = nullptr;
  std::shared_ptr<platform::VideoOutput> _videoOutput = std::make_shared<platform::VideoOutput>();
  std::shared_ptr<const char> _alive = std::make_shared<const char>();
  std::vector<std::string> _calls;

  std::optional<Preparation> _preparation;
  std::shared_ptr<const MediaScript> _script;
  platform::MediaLoad _load;
  Stage _stage = Stage::Idle;
  Holds _holds;
  Motion _motion;
  platform::TimePoint _loadTime{};
  Wanted _wanted;
  Passed _passed;
  platform::PendingRequests _requests;
  platform::MediaFacts _facts;
  bool _reporting = false;
  Timers _timers;
};

}  // namespace sim
