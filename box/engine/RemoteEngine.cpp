#include "box/engine/RemoteEngine.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "box/engine/EngineLog.h"
#include "media/output/SeekDestination.h"
#include "media/output/SubtitleStyles.h"
#include "platform/media/MediaItemKeys.h"
#include "platform/media/TimedMetadataItem.h"

namespace box {
namespace {

using Kind = media::PlaybackEvent::Kind;

/// Minimum interval between refresh requests for values whose changes send no event.
constexpr auto kRefreshInterval = std::chrono::seconds(1);
constexpr auto kSupervisionInterval = std::chrono::seconds(5);

}  // namespace

RemoteEngine::RemoteEngine(platform::MainQueue& queue, const platform::Clock& clock,
                           MediaProcesses& processes, Sound sound)
    : _queue(queue),
      _clock(clock),
      _processes(processes),
      _sound(std::move(sound)),
      _items(queue, [this](const media::ItemResponseCommand& answer) { _send(answer); }),
      _soundObservation(
          processes.addSoundObserver([this] { _send(media::AudioDeviceAddedCommand{}); })) {
  _output->clock = std::make_shared<media::PositionClock>(clock);
}

RemoteEngine::~RemoteEngine() {
  _items.clear();
  _process.reset();
  _output->frames->close();
}

bool RemoteEngine::_ensureProcess() {
  if (_process) return true;
  _process = _processes.take();
  if (!_process) return false;
  _process->setOwner(
      {.event = [this](const media::EngineEvent& event) { _receive(event); },
       .died = [this] { _processDied(); }},
      _output->frames,
      {.textsOf = [output = _output](std::uint64_t id) { return output->texts.of(id); },
       .due = [output = _output](double time,
                                 platform::TimePoint) { output->clock->observe(time); }});
  _process->setMinimumEpoch(_epoch);
  return true;
}

void RemoteEngine::_send(media::EngineCommand command) {
  if (!_process) return;
  logCommand(command);
  _process->send(std::move(command));
}

void RemoteEngine::_sendLoad(const platform::MediaLoad& load, bool prepares) {
  media::LoadCommand command{.prepares = prepares,
                             .epoch = _epoch,
                             .itemID = _items.identify(load.item),
                             .item = RemoteItems::describe(*load.item),
                             .load = load};
  command.load.item = nullptr;
  _send(std::move(command));
}

void RemoteEngine::load(const platform::MediaLoad& load) {
  // The prepared item keeps the last picture on screen until its own first picture arrives.
  const bool takesOver = _prepared && _prepared->hasSameStart(load) && _state;
  if (!takesOver) _output->frames->close();
  _prepared.reset();
  _facts = {};
  _refreshedAt = {};
  _state = State{};
  _state->load = load;
  _state->playPending = load.playing;
  _output->clock->hold(0);
  _failureTask.reset();
  if (!_ensureProcess()) return _failAsynchronously();
  _process->setMinimumEpoch(++_epoch);
  _sendLoad(load, false);
  _observeStyles();
  _supervise();
}

void RemoteEngine::_observeStyles() {
  const std::shared_ptr<TVSMediaItem>& item = _state->load.item;
  const auto apply = [this, item = item.get()] {
    _output->texts.setStyles(
        media::subtitleStylesOf(item->metadata(platform::kMediaItemSubtitleStyles)));
    if (_process) _process->textsDidChange();
  };
  apply();
  _styles = item->addMetadataObserver([apply](const std::vector<std::string>& keys) {
    if (std::find(keys.begin(), keys.end(), platform::kMediaItemSubtitleStyles) != keys.end())
      apply();
  });
}

void RemoteEngine::unload() {
  if (!_state && !_prepared) return;
  _styles.reset();
  _failureTask.reset();
  _supervision.reset();
  _state.reset();
  _prepared.reset();
  _facts = {};
  _items.clear();
  _output->frames->close();
  if (!_process) return;
  _process->setMinimumEpoch(++_epoch);
  _send(media::UnloadCommand{_epoch});
}

void RemoteEngine::prepare(const platform::MediaLoad& load) {
  if (!_state || _state->failed) return;
  _prepared = load;
  _sendLoad(load, true);
}

void RemoteEngine::cancelPreparation() {
  if (!_prepared) return;
  _prepared.reset();
  _send(media::CancelPreparationCommand{});
}

void RemoteEngine::play(double rate) {
  if (!_state || !std::isfinite(rate) || rate == 0) return;
  _state->load.playing = true;
  _state->load.rate = rate;
  _state->playPending = true;
  _state->pausePending = false;
  _state->ended = false;
  _send(media::PlayCommand{rate});
  _supervise();
}

void RemoteEngine::pause() {
  if (!_state) return;
  _state->load.playing = false;
  _state->pausePending = true;
  _state->playPending = false;
  _send(media::PauseCommand{});
}

void RemoteEngine::seek(double seconds) {
  if (!_state || std::isnan(seconds)) return;
  _state->seekDestination = media::seekDestination(seconds, _facts);
  _state->ended = false;
  _state->pendingSeek = media::SeekCommand{seconds, ++_lastSeek};
  _send(*_state->pendingSeek);
  _supervise();
}

void RemoteEngine::seekToDate(platform::Date date) {
  if (!_state || !std::isfinite(date.secondsSince1970)) return;
  _state->ended = false;
  _state->pendingSeek = media::SeekToDateCommand{date, ++_lastSeek};
  _send(*_state->pendingSeek);
}

void RemoteEngine::setEndTimes(std::optional<double> forwardSeconds,
                               std::optional<double> reverseSeconds) {
  if (!_state) return;
  _state->load.forwardEndSeconds = forwardSeconds;
  _state->load.reverseEndSeconds = reverseSeconds;
  _send(media::EndTimesCommand{forwardSeconds, reverseSeconds});
}

void RemoteEngine::setVolume(float volume) {
  if (!_state) return;
  _state->load.volume = volume;
  _send(media::VolumeCommand{volume, _state->load.muted});
}

void RemoteEngine::setMuted(bool muted) {
  if (!_state) return;
  _state->load.muted = muted;
  _send(media::VolumeCommand{_state->load.volume, muted});
}

void RemoteEngine::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  if (!_state) return;
  _state->tracks[trackID] = enabled;
  _send(media::TrackCommand{trackID, enabled});
}

void RemoteEngine::selectOption(const std::string& characteristic,
                                const std::optional<std::string>& identifier) {
  if (!_state) return;
  _state->selections[characteristic] = identifier;
  _send(media::SelectCommand{characteristic, identifier});
}

double RemoteEngine::position() {
  if (!_state || !_state->ready) return 0;
  if (_state->seekDestination) return *_state->seekDestination;
  if (_output->clock->age() > kRefreshInterval) _requestRefresh();
  return _output->clock->seconds();
}

const platform::MediaFacts& RemoteEngine::facts() {
  // Facts arrive twice a second while they change. Request them if the last ones are old.
  if (_state && _state->ready && _clock.now() - _factsAt > kRefreshInterval) _requestRefresh();
  return _facts;
}

void RemoteEngine::_requestRefresh() {
  const auto now = _clock.now();
  if (now - _refreshedAt < kRefreshInterval) return;
  _refreshedAt = now;
  _send(media::RefreshCommand{});
}

void RemoteEngine::_supervise() {
  _supervision.reset();
  if (!_state || !_state->isBusy()) return;
  _supervision = _queue.after(kSupervisionInterval, [this] {
    _send(media::RefreshCommand{});
    _supervise();
  });
}

platform::Array RemoteEngine::accessLog() { return _state ? _state->accessLog : platform::Array(); }

std::vector<platform::FailedRequest> RemoteEngine::failedRequests() {
  return _state ? _state->failedRequests : std::vector<platform::FailedRequest>();
}

void RemoteEngine::_receive(const media::EngineEvent& event) {
  logEvent(event);
  std::visit([this](const auto& each) { _handle(each); }, event);
  if (_supervision && (!_state || !_state->isBusy())) _supervision.reset();
}

void RemoteEngine::_handle(const media::FactsEvent& event) {
  if (!_isCurrent(event.generation)) return;
  platform::MediaFacts facts = event.facts;
  if (!event.hasContents) {
    facts.tracks = std::move(_facts.tracks);
    facts.selectionGroups = std::move(_facts.selectionGroups);
    facts.timedMetadata = std::move(_facts.timedMetadata);
    facts.chapters = std::move(_facts.chapters);
    facts.title = std::move(_facts.title);
    facts.hasCover = _facts.hasCover;
  }
  _facts = std::move(facts);
  _factsAt = _clock.now();
}

void RemoteEngine::_handle(const media::AccessLogEvent& event) {
  if (!_isCurrent(event.generation)) return;
  logTransfers(_state->accessLog, event.entries);
  _state->accessLog = event.entries;
}

void RemoteEngine::_handle(const media::ErrorLogEvent& event) {
  if (_isCurrent(event.generation)) _state->failedRequests = event.requests;
}

void RemoteEngine::_handle(const media::PositionEvent& event) {
  if (!_isCurrent(event.generation)) return;
  if (_state->restoring) {
    // The process is still seeking to the position of the item.
    _state->position = event;
    return;
  }
  _output->clock->set({.running = event.running,
                       .seconds = event.seconds,
                       .rate = event.rate,
                       .first = event.first,
                       .last = event.last,
                       .at = platform::TimePoint(platform::Duration(event.at))});
}

void RemoteEngine::_handle(const media::TextEvent& event) {
  _output->texts.apply(event.change);
  _process->textsDidChange();
}

void RemoteEngine::_handle(const media::SoundEvent& event) {
  const auto& callback =
      event.kind == media::SoundEvent::Kind::Interrupted ? _sound.interrupted : _sound.lost;
  if (callback) callback();
}

void RemoteEngine::_handle(const media::PlaybackEvent& event) {
  if (!_isCurrent(event.generation) || _state->failed) return;
  switch (event.kind) {
    case Kind::Ready:
      return _becomeReady(event);
    case Kind::Fail:
      return _fail(event.error);
    case Kind::Play: {
      _state->ended = false;
      const bool isKnown = _state->restoring && !_state->playPending;
      _state->playPending = false;
      if (_state->restoring) _finishRestore();
      if (isKnown || !_isCurrent(event.generation)) return;
      break;
    }
    case Kind::Pause:
      if (_state->restoring) return;
      _state->pausePending = false;
      break;
    case Kind::Stall:
      if (_state->restoring) return;
      _state->playPending = true;
      break;
    case Kind::Seek:
      _completeSeek(event.seekSerial);
      break;
    case Kind::End:
      _state->ended = true;
      _state->load.playing = false;
      break;
    case Kind::Facts:
    case Kind::Selection:
      if (_state->restoring) return;
      break;
  }
  _notify(event);
}

void RemoteEngine::_notify(const media::PlaybackEvent& event) {
  platform::MediaEngineObserver* const observer = _observer;
  if (!observer) return;
  switch (event.kind) {
    case Kind::Ready:
      return observer->engineDidBecomeReady(event.generation);
    case Kind::Play:
      return observer->engineDidPlay(event.generation, event.rate);
    case Kind::Pause:
      return observer->engineDidPause(event.generation);
    case Kind::Stall:
      return observer->engineDidStall(event.generation);
    case Kind::Seek:
      return observer->engineDidSeek(event.generation);
    case Kind::End:
      return observer->engineDidReachEnd(event.generation);
    case Kind::Fail:
      return observer->engineDidFail(event.generation, event.error);
    case Kind::Facts:
      return observer->engineFactsDidChange(event.generation);
    case Kind::Selection:
      return observer->engineSelectionDidChange(event.generation, event.characteristic);
  }
}

void RemoteEngine::_fail(platform::Error error) {
  _state->failed = true;
  _notify({.kind = Kind::Fail, .generation = _state->load.generation, .error = std::move(error)});
}

}  // namespace box
