#include "media/engine/MediaEngine.h"

#include <utility>

#include "media/engine/EngineLoad.h"
#include "media/pipeline/AudioDevice.h"
#include "media/pipeline/Pipeline.h"

namespace media {

using Kind = PipelineEvent::Kind;

MediaEngine::MediaEngine(platform::MainQueue& queue, const platform::Clock& clock,
                         MediaEngineOptions options)
    : _queue(queue),
      _clock(clock),
      _allowFileURLs(options.allowFileURLs),
      _preferredLanguages(std::move(options.preferredLanguages)),
      _streaming(options.streaming ? std::move(options.streaming) : streaming::Streaming::make()),
      _audio(options.audio ? std::move(options.audio) : std::make_shared<AudioDevice>()),
      _positionChanged(std::move(options.positionChanged)),
      _textsChanged(std::move(options.textsChanged)),
      _frames(std::make_shared<VideoFrames>()),
      _facts(std::make_shared<platform::MediaFacts>()) {}

MediaEngine::~MediaEngine() { unload(); }

void MediaEngine::setObserver(platform::MediaEngineObserver* observer) { _observer = observer; }

EngineLoad::Setup MediaEngine::_setupOf(const platform::MediaLoad& load) {
  return {
      .load = load,
      .allowFileURLs = _allowFileURLs,
      .preferredLanguages = _preferredLanguages,
      .streaming = _streaming,
      .audio = _audio,
      .frames = _frames,
      .predecessor = nullptr,
      .onEvent = [this](EngineLoad& from, const PipelineEvent& event) { _receive(from, event); },
      .positionChanged = _positionChanged,
      .textsChanged = _textsChanged};
}

void MediaEngine::load(const platform::MediaLoad& load) {
  if (_prepared && _prepared->load().hasSameStart(load)) {
    const auto next = std::exchange(_prepared, nullptr);
    // Before the current load is closed, so that the screen is not empty in between.
    next->show();
    _closeCurrent();
    _current = next;
    _current->begin(load, std::exchange(_predecessor, nullptr));
    return;
  }
  unload();
  EngineLoad::Setup setup = _setupOf(load);
  setup.predecessor = std::exchange(_predecessor, nullptr);
  _current = EngineLoad::start(_queue, _clock, std::move(setup));
}

void MediaEngine::unload() {
  _closeCurrent();
  cancelPreparation();
}

void MediaEngine::_closeCurrent() {
  _facts = std::make_shared<platform::MediaFacts>();
  if (!_current) return;
  if (auto pipeline = std::exchange(_current, nullptr)->close()) _predecessor = std::move(pipeline);
}

void MediaEngine::prepare(const platform::MediaLoad& load) {
  if (!_current) return;
  cancelPreparation();
  _prepared = EngineLoad::prepare(_queue, _clock, _setupOf(load));
}

void MediaEngine::cancelPreparation() {
  if (_prepared) std::exchange(_prepared, nullptr)->close();
}

void MediaEngine::play(double rate) {
  if (_current) _current->play(rate);
}

void MediaEngine::pause() {
  if (_current) _current->pause();
}

void MediaEngine::seek(double seconds) {
  if (_current) _current->seek(seconds);
}

void MediaEngine::seekToDate(platform::Date date) {
  if (_current) _current->seekToDate(date);
}

void MediaEngine::setEndTimes(std::optional<double> forwardSeconds,
                              std::optional<double> reverseSeconds) {
  if (_current) _current->setEndTimes(forwardSeconds, reverseSeconds);
}

void MediaEngine::setVolume(float volume) {
  if (_current) _current->setVolume(volume);
}

void MediaEngine::setMuted(bool muted) {
  if (_current) _current->setMuted(muted);
}

void MediaEngine::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  if (_current) _current->setTrackEnabled(trackID, enabled);
}

void MediaEngine::selectOption(const std::string& characteristic,
                               const std::optional<std::string>& identifier) {
  if (_current) _current->selectOption(characteristic, identifier);
}

double MediaEngine::position() { return _current ? _current->position() : 0; }

const platform::MediaFacts& MediaEngine::facts() {
  if (_current) _facts = _current->facts();
  return *_facts;
}

platform::Array MediaEngine::accessLog() {
  return _current ? _current->accessLog() : platform::Array();
}

std::vector<platform::FailedRequest> MediaEngine::failedRequests() {
  return _current ? _current->failedRequests() : std::vector<platform::FailedRequest>();
}

std::uint64_t MediaEngine::generation() const { return _current ? _current->generation() : 0; }

void MediaEngine::refresh() {
  if (_current) _current->refresh();
}

bool MediaEngine::isSeeking() const { return _current && _current->isSeeking(); }

PositionClock::Point MediaEngine::positionPoint() const {
  return _current ? _current->positionPoint() : PositionClock::Point{};
}

void MediaEngine::ping(std::function<void()> done) {
  if (_current)
    _current->ping(std::move(done));
  else
    done();
}

void MediaEngine::_receive(EngineLoad& load, const PipelineEvent& event) {
  platform::MediaEngineObserver* observer = _observer;
  if (!observer) return;
  const std::uint64_t generation = load.generation();
  // Each call is the last statement: the observer may destroy this engine.
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

}  // namespace media
