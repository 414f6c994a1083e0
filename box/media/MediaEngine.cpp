#include "box/media/MediaEngine.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "box/media/MediaErrors.h"
#include "box/media/Pipeline.h"
#include "platform/media/MediaItemKeys.h"
#include "platform/media/MediaLogKeys.h"

namespace box {
namespace {

using Kind = PipelineEvent::Kind;

constexpr double kFastestRate = 8;
constexpr double kSlowestRate = 1.0 / 16;
/// What changes without being told is looked at when it is asked for, at most this often.
constexpr auto kRefreshInterval = std::chrono::seconds(1);

double clampRate(double rate) {
  const double speed = std::clamp(std::abs(rate), kSlowestRate, kFastestRate);
  return rate < 0 ? -speed : speed;
}

std::optional<double> finite(std::optional<double> seconds) {
  return seconds && std::isfinite(*seconds) ? seconds : std::nullopt;
}

float clampVolume(float volume) {
  return std::isfinite(volume) ? std::clamp(volume, 0.0f, 1.0f) : 1.0f;
}

/// A text, or a dictionary with a name and a value.
std::vector<std::string> cookiesOf(const TVSMediaItem& item) {
  std::vector<std::string> result;
  const platform::Value value = item.metadata(platform::kMediaItemCookies);
  const platform::Array* cookies = value.asArray();
  if (!cookies) return result;
  for (const platform::Value& each : *cookies)
    if (const std::string* text = each.asString()) result.push_back(*text);
  return result;
}

}  // namespace

struct MediaEngine::Link {
  MediaEngine* engine;
};

MediaEngine::MediaEngine(platform::MainQueue& queue, const platform::Clock& clock,
                         MediaEngineOptions options)
    : _queue(queue),
      _clock(clock),
      _options(options),
      _frames(std::make_shared<VideoFrames>()),
      _link(std::make_shared<Link>(Link{this})),
      _facts(std::make_shared<platform::MediaFacts>()) {}

MediaEngine::~MediaEngine() {
  _link.reset();
  unload();
}

void MediaEngine::setObserver(platform::MediaEngineObserver* observer) { _observer = observer; }

std::function<void(const PipelineEvent&)> MediaEngine::_reporter(std::uint64_t generation) {
  return
      [&queue = _queue, link = std::weak_ptr<Link>(_link), generation](const PipelineEvent& event) {
        queue.async([link, generation, event] {
          if (const auto alive = link.lock()) alive->engine->_receive(generation, event);
        });
      };
}

void MediaEngine::load(const platform::MediaLoad& load) {
  unload();
  _generation = load.generation;
  _url = load.item->url();
  _loadedAt = _clock.date();
  const auto report = _reporter(load.generation);
  if (auto refusal = refusalOf(_url, _options.allowFileURLs)) {
    report({.kind = Kind::Fail, .error = std::move(*refusal)});
    return;
  }
  PipelineSetup setup;
  setup.url = _url;
  const platform::Value userAgent = load.item->metadata(platform::kMediaItemUserAgent);
  if (const std::string* text = userAgent.asString()) setup.userAgent = *text;
  setup.cookies = cookiesOf(*load.item);
  setup.startSeconds = finite(load.startSeconds);
  if (!setup.startSeconds) setup.startFraction = finite(load.startFraction);
  setup.forwardEnd = finite(load.forwardEndSeconds);
  setup.reverseEnd = finite(load.reverseEndSeconds);
  setup.playing = load.playing;
  setup.rate = clampRate(load.rate);
  setup.volume = clampVolume(load.volume);
  setup.muted = load.muted;
  setup.frames = _frames;
  setup.ticket = _frames->open();
  setup.report = report;
  _pipeline = Pipeline::start(_clock, std::move(setup), std::exchange(_predecessor, nullptr));
}

void MediaEngine::unload() {
  _generation = 0;
  _ready = false;
  _seekDestination.reset();
  _frames->close();
  _facts = std::make_shared<platform::MediaFacts>();
  if (!_pipeline) return;
  _pipeline->close();
  _predecessor = std::exchange(_pipeline, nullptr);
}

void MediaEngine::play(double rate) {
  if (_pipeline && std::isfinite(rate) && rate != 0) _pipeline->play(clampRate(rate));
}

void MediaEngine::pause() {
  if (_pipeline) _pipeline->pause();
}

void MediaEngine::seek(double seconds) {
  if (!_pipeline || std::isnan(seconds)) return;
  _seekDestination = std::max(0.0, seconds);
  if (const double duration = facts().duration; duration > 0)
    _seekDestination = std::min(*_seekDestination, duration);
  _pipeline->seek(seconds, ++_seekSerial);
}

void MediaEngine::seekToDate(platform::Date) {}

void MediaEngine::setEndTimes(std::optional<double> forwardSeconds,
                              std::optional<double> reverseSeconds) {
  if (_pipeline) _pipeline->setEndTimes(finite(forwardSeconds), finite(reverseSeconds));
}

void MediaEngine::setVolume(float volume) {
  if (_pipeline) _pipeline->setVolume(clampVolume(volume));
}

void MediaEngine::setMuted(bool muted) {
  if (_pipeline) _pipeline->setMuted(muted);
}

void MediaEngine::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  if (_pipeline) _pipeline->setTrackEnabled(trackID, enabled);
}

void MediaEngine::selectOption(const std::string& characteristic,
                               const std::optional<std::string>& identifier) {
  if (_pipeline) _pipeline->selectOption(characteristic, identifier);
}

double MediaEngine::position() {
  if (!_pipeline || !_ready) return 0;
  if (_seekDestination) return *_seekDestination;
  if (_pipeline->positionAge() > kRefreshInterval) _refreshWhenOld();
  return _pipeline->position();
}

const platform::MediaFacts& MediaEngine::facts() {
  if (_pipeline) {
    _facts = _pipeline->facts();
    if (_ready && _facts->live) _refreshWhenOld();
  }
  return *_facts;
}

void MediaEngine::_refreshWhenOld() {
  const auto now = _clock.now();
  if (now - _refreshedAt < kRefreshInterval) return;
  _refreshedAt = now;
  _pipeline->refresh();
}

platform::Array MediaEngine::accessLog() {
  if (!_pipeline) return {};
  const PipelineStatistics statistics = _pipeline->statistics();
  platform::Dictionary entry;
  entry.set(platform::kAccessLogDate, _loadedAt);
  entry.set(platform::kAccessLogURI, _url);
  entry.set(platform::kAccessLogPlaybackType, facts().live ? platform::kAccessLogPlaybackTypeLive
                                                           : platform::kAccessLogPlaybackTypeFile);
  if (statistics.startupSeconds)
    entry.set(platform::kAccessLogStartupTime, *statistics.startupSeconds);
  entry.set(platform::kAccessLogStallCount, statistics.stallCount);
  if (statistics.bytesRead) entry.set(platform::kAccessLogBytesTransferred, *statistics.bytesRead);
  return platform::Array{entry};
}

void MediaEngine::_receive(std::uint64_t generation, const PipelineEvent& event) {
  if (generation != _generation) return;
  if (event.kind == Kind::Ready) {
    _ready = true;
    _seekDestination.reset();
  } else if (event.kind == Kind::Seek && event.seekSerial == _seekSerial) {
    _seekDestination.reset();
  }
  platform::MediaEngineObserver* observer = _observer;
  if (!observer) return;
  // Whatever the observer does in here, also destroying this engine, nothing follows it.
  switch (event.kind) {
    case Kind::Ready:
      observer->engineDidBecomeReady(generation);
      return;
    case Kind::Play:
      observer->engineDidPlay(generation, event.rate);
      return;
    case Kind::Pause:
      observer->engineDidPause(generation);
      return;
    case Kind::Stall:
      observer->engineDidStall(generation);
      return;
    case Kind::Seek:
      observer->engineDidSeek(generation);
      return;
    case Kind::End:
      observer->engineDidReachEnd(generation);
      return;
    case Kind::Fail:
      observer->engineDidFail(generation, event.error);
      return;
    case Kind::Facts:
      observer->engineFactsDidChange(generation);
      return;
    case Kind::Selection:
      observer->engineSelectionDidChange(generation, event.characteristic);
      return;
  }
}

}  // namespace box
