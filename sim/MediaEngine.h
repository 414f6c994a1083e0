#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/MediaEngine.h"
#include "platform/media/PendingRequests.h"
#include "sim/MediaLibrary.h"

namespace sim {

/// Plays scripted media against a clock. It decodes nothing, but reports positions, ends, stalls
/// and failures at the right times.
///
/// A URL that the library does not contain fails with FileDoesNotExist. A scripted request fails
/// the load with the error of its answer, with ContentNotAuthorized for a key without data, and
/// with BadServerResponse after ten consecutive redirects. Time that an item has spent as the
/// prepared item is subtracted from its load delay; its requests are made when it is loaded. Rates
/// are clamped to ±8. Each callback is a separate task on the main queue. Positions are computed on
/// demand, so no timer runs between two events of the script.
///
/// Threads and lifetime: like platform::MediaEngine. The queue, the clock and the library must
/// outlive the engine.
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
  std::vector<platform::FailedRequest> failedRequests() override {
    return _pastEvents.failedRequests;
  }
  std::shared_ptr<platform::VideoOutput> videoOutput() override { return _videoOutput; }

  // For tests.

  /// The last thousand calls, oldest first: "load URL", "unload", "prepare URL", "play 1", "pause",
  /// "seek 5".
  const std::vector<std::string>& calls() const { return _calls; }
  void clearCalls() { _calls.clear(); }
  bool isLoaded() const { return _stage != Stage::Idle; }
  /// Whether the position advances.
  bool isRunning() const { return _runs(); }
  bool isSeeking() const { return _holds.seeking; }
  /// The prepared item, or null.
  std::shared_ptr<TVSMediaItem> preparedItem() const {
    return _preparation ? _preparation->load.item : nullptr;
  }
  /// Number of unanswered requests.
  std::size_t pendingRequests() const { return _requests.count(); }
  /// The current load with all later changes. After unload(), the previous load.
  const platform::MediaLoad& currentLoad() const { return _load; }
  /// Reports a failure of the media at the current position.
  void fail(platform::Error error);
  /// Adds a failed request to the current load.
  void addFailedRequest(platform::FailedRequest request) {
    _pastEvents.failedRequests.push_back(std::move(request));
  }

 private:
  enum class Stage { Idle, Loading, Ready, Failed };
  /// Reasons why a ready load does not advance. More than one can apply.
  struct Holds {
    bool paused = false;
    bool stalled = false;
    bool awaitingAnswer = false;
    bool seeking = false;
    bool ended = false;
  };
  struct Preparation {
    platform::MediaLoad load;
    platform::TimePoint since{};
  };
  /// The anchor of the position: where and when it was set, and the rate since.
  struct Motion {
    double rate = 1;
    double position = 0;
    platform::TimePoint since{};
  };
  /// The target of a seek that was requested before the load was ready.
  struct SeekTarget {
    std::optional<double> seconds;
    std::optional<platform::Date> date;
  };
  /// The script events that have already happened.
  struct PastEvents {
    std::set<std::size_t> stalls;
    std::set<std::size_t> requests;
    int redirects = 0;
    bool failure = false;
    std::vector<platform::FailedRequest> failedRequests;
  };
  struct Timers {
    platform::Token next;  ///< next event of the script
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
  /// Posts a task that does nothing if the load has changed before it runs.
  void _post(std::function<void(platform::MediaEngineObserver&, std::uint64_t generation)> report);
  void _reportMotion();

  /// Makes the remaining requests of the load, beginning with `first`, then becomes ready.
  void _finishLoad(std::size_t first);
  /// Reports the scripted buffering changes from step `next` on, at their times during the load.
  void _reportBuffering(std::size_t next);
  void _becomeReady();
  /// Makes a scripted request. Calls `answered` after a successful answer, with the media that it
  /// was redirected to, or null.
  void _sendRequest(std::size_t index,
                    std::function<void(std::shared_ptr<const MediaScript>)> answered);
  double _startPosition() const;
  bool _runs() const;
  /// The current position, ignoring a pending seek.
  double _runningPosition() const;
  double _liveEdge() const;
  double _clamped(double seconds) const;
  void _anchor(double position);
  void _seekTo(double seconds);
  void _finishSeek();
  std::optional<Event> _nextEvent() const;
  bool _atEnd() const;
  void _reachEnd();
  /// Sets the timer for the next event of the script.
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
  SeekTarget _seekTarget;
  PastEvents _pastEvents;
  platform::PendingRequests _requests;
  platform::MediaFacts _facts;
  bool _reporting = false;
  Timers _timers;
};

}  // namespace sim
