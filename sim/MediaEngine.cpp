#include "sim/MediaEngine.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/media/MediaLogKeys.h"
#include "platform/media/TimedMetadataItem.h"

namespace sim {

namespace {

constexpr double kRateLimit = 16;
constexpr double kBufferedAhead = 30;
constexpr std::size_t kCallLimit = 1000;

std::string numberText(double value) { return platform::Number(value).description(); }

}  // namespace

MediaEngine::MediaEngine(platform::MainQueue& mainQueue, const platform::Clock& clock,
                         MediaLibrary& library)
    : _mainQueue(mainQueue), _clock(clock), _library(library), _requests(mainQueue) {
  _library._engines.push_back(this);
}

MediaEngine::~MediaEngine() {
  // platform::MediaEngine does not allow destruction inside a callback.
  TVS_ASSERT_MESSAGE(!_reporting, "an engine outlives its callback");
  std::erase(_library._engines, this);
}

void MediaEngine::_record(std::string call) {
  if (_calls.size() >= kCallLimit) _calls.erase(_calls.begin());
  _calls.push_back(std::move(call));
}

void MediaEngine::_post(std::function<void(platform::MediaEngineObserver&, std::uint64_t)> report) {
  _mainQueue.async([this, alive = std::weak_ptr(_alive), generation = _load.generation,
                    report = std::move(report)] {
    if (alive.expired() || _stage == Stage::Idle || generation != _load.generation || !_observer)
      return;
    _reporting = true;
    report(*_observer, generation);
    _reporting = false;
  });
}

void MediaEngine::load(const platform::MediaLoad& load) {
  const auto preparation = std::exchange(_preparation, std::nullopt);
  unload();
  _calls.pop_back();
  const std::string url = load.item ? load.item->url() : std::string();
  _record("load " + url);
  _load = load;
  _script = _library.find(url);
  _stage = Stage::Loading;
  _motion.rate = std::clamp(load.rate, -kRateLimit, kRateLimit);
  _holds.paused = !load.playing;
  _loadTime = _clock.now();
  auto delay = platform::durationFromSeconds(_script ? _script->loadDelay : 0);
  if (preparation && preparation->load.hasSameStart(load))
    delay = std::max(platform::Duration::zero(), delay - (_loadTime - preparation->since));
  _timers.next = _mainQueue.after(delay, [this] { _finishLoad(0); });
  _reportBuffering(0);
}

void MediaEngine::_reportBuffering(std::size_t next) {
  if (!_script || next >= _script->buffering.size()) return;
  const auto due = _loadTime + platform::durationFromSeconds(_script->buffering[next].afterLoad);
  _timers.buffering = _mainQueue.after(due - _clock.now(), [this, next] {
    if (_stage != Stage::Loading) return;
    _post([](auto& observer, auto generation) { observer.engineFactsDidChange(generation); });
    _reportBuffering(next + 1);
  });
}

void MediaEngine::unload() {
  _record("unload");
  _preparation.reset();
  _stage = Stage::Idle;
  _holds = {};
  _seekTarget.seconds.reset();
  _seekTarget.date.reset();
  _requests.cancelAll();
  _pastEvents.stalls.clear();
  _pastEvents.requests.clear();
  _pastEvents.redirects = 0;
  _pastEvents.failure = false;
  _pastEvents.failedRequests.clear();
  _facts = {};
  _script = nullptr;
  _timers.next.reset();
  _timers.stall.reset();
  _timers.buffering.reset();
  _timers.seek.reset();
}

void MediaEngine::prepare(const platform::MediaLoad& load) {
  if (_stage == Stage::Idle) return;
  _record("prepare " + load.item->url());
  _preparation = {load, _clock.now()};
}

void MediaEngine::cancelPreparation() { _preparation.reset(); }

void MediaEngine::_becomeReady() {
  _stage = Stage::Ready;
  _facts.duration = _script->liveWindow ? TVSDurationIndefinite : _script->duration;
  _facts.live = _script->liveWindow.has_value();
  _facts.tracks = _script->tracks;
  _facts.selectionGroups = _script->selectionGroups;
  _facts.chapters = _script->chapters;
  _facts.title = _script->title;
  _facts.hasCover = _script->hasCover;
  _anchor(_startPosition());
  _seekTarget.seconds.reset();
  _seekTarget.date.reset();
  _post([](auto& observer, auto generation) { observer.engineDidBecomeReady(generation); });
  if (_holds.paused) {
    _reportMotion();
  } else if (_atEnd()) {
    _reachEnd();
  } else {
    _reportMotion();
    _schedule();
  }
}

double MediaEngine::_startPosition() const {
  const auto ofDate = [&](platform::Date date) {
    return _clamped(date.secondsSince1970 - _script->startDate->secondsSince1970);
  };
  if (_seekTarget.date && _script->startDate) return ofDate(*_seekTarget.date);
  if (_seekTarget.seconds) return _clamped(*_seekTarget.seconds);
  if (_load.startDate && _script->startDate) return ofDate(*_load.startDate);
  if (_load.startSeconds) return _clamped(*_load.startSeconds);
  if (_load.startFraction && !_script->liveWindow)
    return _clamped(*_load.startFraction * _script->duration);
  return _script->liveWindow ? _liveEdge() : 0;
}

void MediaEngine::_reportMotion() {
  if (_holds.paused) {
    _post([](auto& observer, auto generation) { observer.engineDidPause(generation); });
  } else if (_holds.stalled || _holds.awaitingAnswer) {
    _post([](auto& observer, auto generation) { observer.engineDidStall(generation); });
  } else if (!_holds.seeking && !_holds.ended) {
    _post([rate = _motion.rate](auto& observer, auto generation) {
      observer.engineDidPlay(generation, rate);
    });
  }
}

void MediaEngine::play(double rate) {
  if (_stage == Stage::Idle || _stage == Stage::Failed) return;
  _record("play " + numberText(rate));
  // Positions that have left the live window are skipped.
  if (_stage == Stage::Ready) _anchor(_clamped(_runningPosition()));
  _motion.rate = std::clamp(rate, -kRateLimit, kRateLimit);
  _holds.paused = false;
  if (_stage != Stage::Ready) return;
  _holds.ended = false;
  if (!_holds.seeking && !_holds.stalled && !_holds.awaitingAnswer && _atEnd()) return _reachEnd();
  _reportMotion();
  _schedule();
}

void MediaEngine::pause() {
  if (_stage == Stage::Idle || _stage == Stage::Failed) return;
  _record("pause");
  if (_stage == Stage::Ready) _anchor(_runningPosition());
  _holds.paused = true;
  if (_stage != Stage::Ready) return;
  _reportMotion();
  _schedule();
}

void MediaEngine::seek(double seconds) {
  if (_stage == Stage::Idle || _stage == Stage::Failed) return;
  _record("seek " + numberText(seconds));
  if (_stage == Stage::Loading) {
    _seekTarget.seconds = seconds;
    _seekTarget.date.reset();
  } else {
    _seekTo(seconds);
  }
}

void MediaEngine::seekToDate(platform::Date date) {
  if (_stage == Stage::Idle || _stage == Stage::Failed) return;
  _record("seekToDate " + numberText(date.secondsSince1970));
  if (_stage == Stage::Loading) {
    _seekTarget.date = date;
  } else if (_script->startDate) {
    _seekTo(date.secondsSince1970 - _script->startDate->secondsSince1970);
  }
}

void MediaEngine::_seekTo(double seconds) {
  _anchor(_runningPosition());
  _seekTarget.seconds = _clamped(seconds);
  _holds.seeking = true;
  _timers.next.reset();
  // A seek ends a stall: the target is available at once.
  _holds.stalled = false;
  _holds.awaitingAnswer = false;
  _requests.cancelAll();
  _timers.stall.reset();
  _timers.seek = _mainQueue.after(platform::durationFromSeconds(_script->seekDelay),
                                  [this] { _finishSeek(); });
}

void MediaEngine::_finishSeek() {
  _holds.seeking = false;
  _anchor(*std::exchange(_seekTarget.seconds, std::nullopt));
  _post([](auto& observer, auto generation) { observer.engineDidSeek(generation); });
  if (_holds.paused) return;
  _holds.ended = false;
  if (_atEnd()) return _reachEnd();
  // Reports the motion again. This covers a stall that the seek has ended, and a play() during the
  // seek.
  _reportMotion();
  _schedule();
}

void MediaEngine::setEndTimes(std::optional<double> forwardSeconds,
                              std::optional<double> reverseSeconds) {
  if (_stage == Stage::Idle || _stage == Stage::Failed) return;
  _load.forwardEndSeconds = forwardSeconds;
  _load.reverseEndSeconds = reverseSeconds;
  if (_stage == Stage::Ready) _schedule();
}

void MediaEngine::setVolume(float volume) {
  if (isLoaded()) _load.volume = volume;
}

void MediaEngine::setMuted(bool muted) {
  if (isLoaded()) _load.muted = muted;
}

void MediaEngine::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  bool changed = false;
  for (auto& track : _facts.tracks) {
    if (track.trackID != trackID || track.enabled == enabled) continue;
    track.enabled = enabled;
    changed = true;
  }
  if (changed)
    _post([](auto& observer, auto generation) { observer.engineFactsDidChange(generation); });
}

void MediaEngine::selectOption(const std::string& characteristic,
                               const std::optional<std::string>& identifier) {
  for (auto& group : _facts.selectionGroups) {
    if (group.characteristic != characteristic) continue;
    std::optional<std::size_t> selected;
    if (identifier) {
      const auto option =
          std::find_if(group.options.begin(), group.options.end(),
                       [&](const auto& candidate) { return candidate.identifier == *identifier; });
      if (option == group.options.end()) return;
      selected = static_cast<std::size_t>(option - group.options.begin());
    } else if (!group.allowsEmptySelection) {
      return;
    }
    if (group.selected == selected) return;
    group.selected = selected;
    _post([characteristic](auto& observer, auto generation) {
      observer.engineSelectionDidChange(generation, characteristic);
    });
    return;
  }
}

void MediaEngine::fail(platform::Error error) {
  if (_stage == Stage::Idle || _stage == Stage::Failed) return;
  _stage = Stage::Failed;
  _timers.next.reset();
  _timers.stall.reset();
  _timers.seek.reset();
  _requests.cancelAll();
  _post([error = std::move(error)](auto& observer, auto generation) {
    observer.engineDidFail(generation, error);
  });
}

double MediaEngine::position() {
  if (_stage != Stage::Ready) return 0;
  return _seekTarget.seconds ? *_seekTarget.seconds : _runningPosition();
}

const platform::MediaFacts& MediaEngine::facts() {
  if (!_script) return _facts;
  if (_stage == Stage::Loading) {
    const double sinceLoad = platform::secondsFromDuration(_clock.now() - _loadTime);
    for (const auto& step : _script->buffering) {
      if (step.afterLoad <= sinceLoad) _facts.bufferingPercent = step.percent;
    }
    return _facts;
  }
  const double now = position();
  const double end = _script->liveWindow ? _liveEdge() : _script->duration;
  const double begin = _script->liveWindow ? std::max(0.0, end - *_script->liveWindow) : 0;
  const bool waits = _holds.stalled || _holds.awaitingAnswer || _stage != Stage::Ready;
  _facts.seekable = {{begin, end - begin}};
  _facts.loaded = {{now, waits ? 0 : std::min(kBufferedAhead, std::max(0.0, end - now))}};
  _facts.likelyToKeepUp = !waits;
  _facts.bufferEmpty = waits;
  _facts.bufferFull = !waits && now + kBufferedAhead >= end;
  _facts.bufferingPercent = waits ? std::optional(0) : std::nullopt;
  _facts.likelyToKeepUpTime = waits ? std::nullopt : std::optional(0.0);
  _facts.playbackDate.reset();
  if (_script->startDate)
    _facts.playbackDate = platform::Date{_script->startDate->secondsSince1970 + now};
  _facts.estimatedDate = _facts.playbackDate;
  _facts.timedMetadata = {};
  for (const auto& metadata : _script->timedMetadata) {
    if (metadata.position <= now) _facts.timedMetadata = metadata.items;
  }
  return _facts;
}

platform::Array MediaEngine::accessLog() {
  if (_stage != Stage::Ready) return {};
  const double sinceLoad = platform::secondsFromDuration(_clock.now() - _loadTime);
  return {platform::Dictionary{
      {std::string(platform::kAccessLogDate),
       platform::Date{_clock.date().secondsSince1970 - sinceLoad}},
      {std::string(platform::kAccessLogURI), _load.item->url()},
      {std::string(platform::kAccessLogPlaybackType),
       _facts.live ? platform::kAccessLogPlaybackTypeLive : platform::kAccessLogPlaybackTypeFile},
      {std::string(platform::kAccessLogStartupTime), _script->loadDelay},
      {std::string(platform::kAccessLogStallCount),
       static_cast<std::int64_t>(_pastEvents.stalls.size())}}};
}

}  // namespace sim
