#include "media/engine/EngineLoad.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "media/engine/AccessLog.h"
#include "media/engine/ItemRequests.h"
#include "media/engine/SenderItemSetup.h"
#include "media/engine/TimelineFacts.h"
#include "media/output/SeekDestination.h"
#include "media/pipeline/DecodableMedia.h"
#include "media/pipeline/Pipeline.h"
#include "media/support/MediaErrors.h"
#include "media/texts/AlternateTexts.h"

namespace media {
namespace {

using Kind = PipelineEvent::Kind;

constexpr double kFastestRate = 16;
constexpr double kSlowestRate = 1.0 / 16;
/// The shortest interval of updates of facts that change without a callback.
constexpr auto kRefreshInterval = std::chrono::seconds(1);
/// Merged facts are cached for this time, because callers often read several facts in a row.
constexpr auto kTimelineInterval = std::chrono::milliseconds(20);

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

PlaybackRequest requestOf(const platform::MediaLoad& load) {
  return {.playing = load.playing,
          .rate = clampRate(load.rate),
          .forwardEnd = finite(load.forwardEndSeconds),
          .reverseEnd = finite(load.reverseEndSeconds),
          .volume = clampVolume(load.volume),
          .muted = load.muted};
}

}  // namespace

EngineLoad::EngineLoad(platform::MainQueue& queue, const platform::Clock& clock, Setup setup)
    : _queue(queue),
      _clock(clock),
      _setup(std::move(setup)),
      _url(_setup.load.item->url()),
      _loadedAt(clock.date()) {}

std::shared_ptr<EngineLoad> EngineLoad::start(platform::MainQueue& queue,
                                              const platform::Clock& clock, Setup setup) {
  // Not make_shared(): the constructor is private.
  std::shared_ptr<EngineLoad> load(new EngineLoad(queue, clock, std::move(setup)));
  load->_open(false);
  return load;
}

std::shared_ptr<EngineLoad> EngineLoad::prepare(platform::MainQueue& queue,
                                                const platform::Clock& clock, Setup setup) {
  std::shared_ptr<EngineLoad> load(new EngineLoad(queue, clock, std::move(setup)));
  load->_open(true);
  return load;
}

std::function<void(const PipelineEvent&)> EngineLoad::_reporter() {
  return [&queue = _queue, weak = weak_from_this()](const PipelineEvent& event) {
    queue.async([weak, event] {
      if (const auto load = weak.lock()) load->_receive(event);
    });
  };
}

void EngineLoad::_open(bool held) {
  _held = held;
  _startError = unsupportedURLError(_url, _setup.allowFileURLs);
  if (!_startError && isStreamedURL(_url)) _openItem();
  _ticket = _setup.frames->reserve();
  if (!held) show();
  if (_startError) return _failToStart(*_startError);
  PipelineSetup setup;
  setup.url = _url;
  setup.item = _item;
  setup.streaming = _setup.streaming;
  setup.preferredLanguages = _setup.preferredLanguages;
  setup.alternates = alternateTextsOf(*_setup.load.item, _setup.allowFileURLs);
  setup.subtitleStyles =
      subtitleStylesOf(_setup.load.item->metadata(platform::kMediaItemSubtitleStyles));
  setup.startSeconds = finite(_setup.load.startSeconds);
  if (!setup.startSeconds) setup.startFraction = finite(_setup.load.startFraction);
  setup.startDate = _setup.load.startDate;
  setup.request = requestOf(_setup.load);
  setup.held = held;
  setup.audio = _setup.audio;
  setup.frames = _setup.frames;
  setup.ticket = _ticket;
  setup.report = _reporter();
  setup.positionChanged = _setup.positionChanged;
  setup.textsChanged = _setup.textsChanged;
  _pipeline = Pipeline::start(_clock, std::move(setup), std::exchange(_setup.predecessor, nullptr));
  if (!_pipeline) return _failToStart(noThreadError());
  _observeSubtitleStyles();
}

void EngineLoad::_failToStart(platform::Error error) {
  _startError = std::move(error);
  if (!_held) _reporter()({.kind = Kind::Fail, .error = *_startError});
}

void EngineLoad::_observeSubtitleStyles() {
  _metadataObserver = _setup.load.item->addMetadataObserver([this](const auto& keys) {
    if (std::find(keys.begin(), keys.end(), platform::kMediaItemSubtitleStyles) == keys.end())
      return;
    const auto value = _setup.load.item->metadata(platform::kMediaItemSubtitleStyles);
    if (_pipeline) _pipeline->setSubtitleStyles(subtitleStylesOf(value));
  });
}

void EngineLoad::_openItem() {
  _itemRequests = ItemRequests::make(_queue, _setup.load.item);
  streaming::ItemSetup setup = itemSetupOf(*_setup.load.item);
  setup.requestContent = _itemRequests->requester();
  _item = _setup.streaming->open(std::move(setup), canDecode);
}

void EngineLoad::show() { _setup.frames->open(_ticket); }

void EngineLoad::begin(const platform::MediaLoad& load, std::shared_ptr<Pipeline> predecessor) {
  _setup.load = load;
  _held = false;
  _loadedAt = _clock.date();
  if (_pipeline)
    _pipeline->begin(requestOf(load), std::move(predecessor));
  else
    _reporter()({.kind = Kind::Fail, .error = *_startError});
}

std::shared_ptr<Pipeline> EngineLoad::close() {
  _closed = true;
  _setup.frames->close(_ticket);
  if (_pipeline) _pipeline->close();
  _metadataObserver = {};
  _itemRequests.reset();
  _item.reset();
  return std::exchange(_pipeline, nullptr);
}

void EngineLoad::play(double rate) {
  if (_pipeline && std::isfinite(rate) && rate != 0) _pipeline->play(clampRate(rate));
}

void EngineLoad::pause() {
  if (_pipeline) _pipeline->pause();
}

void EngineLoad::seek(double seconds) {
  if (!_pipeline || std::isnan(seconds)) return;
  _seekDestination = seekDestination(seconds, *facts());
  _pipeline->seek(seconds, ++_seekSerial);
}

void EngineLoad::seekToDate(platform::Date date) {
  if (!_pipeline || !std::isfinite(date.secondsSince1970)) return;
  if (!_ready) return _pipeline->seekToDate(date, ++_seekSerial);
  if (const auto position = positionOfDate(_item.get(), date)) seek(*position);
}

void EngineLoad::setEndTimes(std::optional<double> forwardSeconds,
                             std::optional<double> reverseSeconds) {
  if (_pipeline) _pipeline->setEndTimes(finite(forwardSeconds), finite(reverseSeconds));
}

void EngineLoad::setVolume(float volume) {
  if (_pipeline) _pipeline->setVolume(clampVolume(volume));
}

void EngineLoad::setMuted(bool muted) {
  if (_pipeline) _pipeline->setMuted(muted);
}

void EngineLoad::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  if (_pipeline) _pipeline->setTrackEnabled(trackID, enabled);
}

void EngineLoad::selectOption(const std::string& characteristic,
                              const std::optional<std::string>& identifier) {
  if (_pipeline) _pipeline->selectOption(characteristic, identifier);
}

double EngineLoad::position() {
  if (!_pipeline || !_ready) return 0;
  if (_seekDestination) return *_seekDestination;
  if (_pipeline->positionAge() > kRefreshInterval) refresh();
  return _pipeline->position();
}

std::shared_ptr<const platform::MediaFacts> EngineLoad::facts() {
  if (!_pipeline) return std::make_shared<platform::MediaFacts>();
  auto facts = _pipeline->facts();
  if (_ready && facts->live) refresh();
  return _ready && _item ? _mergeTimeline(std::move(facts)) : facts;
}

std::shared_ptr<const platform::MediaFacts> EngineLoad::_mergeTimeline(
    std::shared_ptr<const platform::MediaFacts> facts) {
  const auto now = _clock.now();
  if (facts == _pipelineFacts && now - _mergedAt < kTimelineInterval) return _facts;
  auto merged = std::make_shared<platform::MediaFacts>(*facts);
  addTimeline(*_item, position(), *merged);
  _facts = std::move(merged);
  _pipelineFacts = std::move(facts);
  _mergedAt = now;
  return _facts;
}

void EngineLoad::refresh() {
  if (!_pipeline) return;
  const auto now = _clock.now();
  if (now - _refreshedAt < kRefreshInterval) return;
  _refreshedAt = now;
  _pipeline->refresh();
}

PositionClock::Point EngineLoad::positionPoint() const {
  return _pipeline ? _pipeline->positionPoint() : PositionClock::Point{};
}

void EngineLoad::ping(std::function<void()> done) {
  if (_pipeline)
    _pipeline->ping(std::move(done));
  else
    done();
}

platform::Array EngineLoad::accessLog() {
  if (!_pipeline) return {};
  return accessLogEntries(
      {_url, _loadedAt, _clock.date(), _pipeline->statisticsByEntry(), _item.get()}, *facts());
}

std::vector<platform::FailedRequest> EngineLoad::failedRequests() const {
  std::vector<platform::FailedRequest> requests;
  if (_pipeline) requests = _pipeline->failures();
  if (!_item) return requests;
  std::vector<streaming::ErrorLogEntry> entries = _item->errorLog();
  constexpr std::size_t kLimit = platform::MediaEngine::kMaxFailedRequests;
  const std::size_t room = kLimit - std::min(kLimit, requests.size());
  if (entries.size() > room)
    entries.erase(entries.begin(), entries.end() - static_cast<std::ptrdiff_t>(room));
  for (streaming::ErrorLogEntry& each : entries)
    requests.push_back({each.date, std::move(each.url), std::move(each.error)});
  return requests;
}

void EngineLoad::_receive(const PipelineEvent& event) {
  if (_closed) return;
  if (event.kind == Kind::Ready) {
    _ready = true;
    _seekDestination.reset();
  } else if (event.kind == Kind::Seek && event.seekSerial == _seekSerial) {
    _seekDestination.reset();
  }
  // Before Ready only failures and buffering facts are reported; of a prepared load only failures.
  if (!_ready && event.kind != Kind::Fail && (event.kind != Kind::Facts || _held)) return;
  // Last statement: the callback may end this load.
  _setup.onEvent(*this, event);
}

}  // namespace media
