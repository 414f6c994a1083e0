#include "box/engine/RemoteEngine.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/output/SeekDestination.h"
#include "media/output/SubtitleStyles.h"
#include "platform/media/MediaItemKeys.h"

namespace box {
namespace {

using Kind = media::PlaybackEvent::Kind;

/// What changes without being told is asked for when it is read, at most this often.
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
      _soundArrival(
          processes.addSoundObserver([this] { _send(media::AudioDeviceAddedCommand{}); })) {
  _screen->clock = std::make_shared<media::PositionClock>(clock);
}

RemoteEngine::~RemoteEngine() {
  _items.clear();
  _process.reset();
  _screen->frames->close();
}

bool RemoteEngine::_ensureProcess() {
  if (_process) return true;
  _process = _processes.take();
  if (!_process) return false;
  _process->setOwner(
      {.event = [this](const media::EngineEvent& event) { _receive(event); },
       .died = [this] { _died(); }},
      _screen->frames,
      {.textsOf = [screen = _screen](std::uint64_t id) { return screen->texts.of(id); },
       .due = [screen = _screen](double time,
                                 platform::TimePoint) { screen->clock->observe(time); }});
  _process->setMinimumEpoch(_epoch);
  return true;
}

void RemoteEngine::_send(media::EngineCommand command) {
  if (_process) _process->send(std::move(command));
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
  // What was prepared takes the place of what is shown with its first picture.
  const bool takesOver = _prepared && _prepared->beginsLike(load) && _state;
  if (!takesOver) _screen->frames->close();
  _prepared.reset();
  _facts = {};
  _refreshedAt = {};
  _state.emplace();
  _state->load = load;
  _state->playUntold = load.playing;
  _screen->clock->hold(0);
  _failing.reset();
  if (!_ensureProcess()) return _failLater();
  _process->setMinimumEpoch(++_epoch);
  _sendLoad(load, false);
  _followStyles();
  _supervise();
}

void RemoteEngine::_followStyles() {
  const std::shared_ptr<TVSMediaItem>& item = _state->load.item;
  const auto apply = [this, item = item.get()] {
    _screen->texts.setStyles(
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
  _failing.reset();
  _supervision.reset();
  _state.reset();
  _prepared.reset();
  _facts = {};
  _items.clear();
  _screen->frames->close();
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
  _state->playUntold = true;
  _state->pauseUntold = false;
  _state->ended = false;
  _send(media::PlayCommand{rate});
  _supervise();
}

void RemoteEngine::pause() {
  if (!_state) return;
  _state->load.playing = false;
  _state->pauseUntold = true;
  _state->playUntold = false;
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
  if (_screen->clock->age() > kRefreshInterval) _refreshWhenOld();
  return _screen->clock->seconds();
}

const platform::MediaFacts& RemoteEngine::facts() {
  // What is told twice a second while it changes is asked for when it has not changed for long.
  if (_state && _state->ready && _clock.now() - _factsAt > kRefreshInterval) _refreshWhenOld();
  return _facts;
}

void RemoteEngine::_refreshWhenOld() {
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

void RemoteEngine::_receive(const media::EngineEvent& event) {
  std::visit([this](const auto& each) { _handle(each); }, event);
  if (_supervision && (!_state || !_state->isBusy())) _supervision.reset();
}

void RemoteEngine::_handle(const media::FactsEvent& event) {
  if (!_isOf(event.generation)) return;
  platform::MediaFacts facts = event.facts;
  if (!event.hasContents) {
    facts.tracks = std::move(_facts.tracks);
    facts.selectionGroups = std::move(_facts.selectionGroups);
    facts.timedMetadata = std::move(_facts.timedMetadata);
    facts.chapters = std::move(_facts.chapters);
    facts.title = std::move(_facts.title);
  }
  _facts = std::move(facts);
  _factsAt = _clock.now();
}

void RemoteEngine::_handle(const media::AccessLogEvent& event) {
  if (_isOf(event.generation)) _state->accessLog = event.entries;
}

void RemoteEngine::_handle(const media::PositionEvent& event) {
  if (!_isOf(event.generation)) return;
  if (_state->restoring) {
    // On its way to where the item was.
    _state->position = event;
    return;
  }
  _screen->clock->set({.running = event.running,
                       .seconds = event.seconds,
                       .rate = event.rate,
                       .first = event.first,
                       .last = event.last,
                       .at = platform::TimePoint(platform::Duration(event.at))});
}

void RemoteEngine::_handle(const media::TextEvent& event) {
  _screen->texts.apply(event.change);
  _process->textsDidChange();
}

void RemoteEngine::_handle(const media::SoundEvent& event) {
  const auto& tell =
      event.kind == media::SoundEvent::Kind::Interrupted ? _sound.interrupted : _sound.lost;
  if (tell) tell();
}

void RemoteEngine::_handle(const media::PlaybackEvent& event) {
  if (!_isOf(event.generation) || _state->failed) return;
  switch (event.kind) {
    case Kind::Ready:
      return _becomeReady(event);
    case Kind::Fail:
      return _fail(event.error);
    case Kind::Play: {
      _state->ended = false;
      const bool isKnown = _state->restoring && !_state->playUntold;
      _state->playUntold = false;
      if (_state->restoring) _restored();
      if (isKnown || !_isOf(event.generation)) return;
      break;
    }
    case Kind::Pause:
      if (_state->restoring) return;
      _state->pauseUntold = false;
      break;
    case Kind::Stall:
      if (_state->restoring) return;
      _state->playUntold = true;
      break;
    case Kind::Seek:
      _noteSeek(event.seekSerial);
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
  _tell(event);
}

void RemoteEngine::_tell(const media::PlaybackEvent& event) {
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
  _tell({.kind = Kind::Fail, .generation = _state->load.generation, .error = std::move(error)});
}

}  // namespace box
