// The beginning and the end of a process, and how an item goes on in the next one.

#include <utility>

#include "box/engine/RemoteEngine.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {
namespace {

using Kind = media::PlaybackEvent::Kind;

platform::Error processError(platform::MediaErrorCode code, std::string reason) {
  return {std::string(platform::kMediaErrorDomain),
          static_cast<std::int64_t>(code),
          "The media could not be played.",
          std::move(reason),
          {}};
}

}  // namespace

void RemoteEngine::_failLater() {
  _state->failed = true;
  _failing = _queue.after({}, [this] {
    _fail(processError(platform::MediaErrorCode::PlayerUnavailable,
                       "No process for media can be started."));
  });
}

bool RemoteEngine::_noteSeek(std::uint64_t serial) {
  if (serial != _lastSeek || !_state->pendingSeek) return false;
  _state->pendingSeek.reset();
  _state->seekDestination.reset();
  return true;
}

void RemoteEngine::_becomeReady(const media::PlaybackEvent& event) {
  const bool answersSeek = _noteSeek(event.seekSerial);
  if (!std::exchange(_state->ready, true)) return _tell(event);
  for (const auto& [characteristic, identifier] : _state->selections)
    _send(media::SelectCommand{characteristic, identifier});
  for (const auto& [track, enabled] : _state->tracks) _send(media::TrackCommand{track, enabled});
  if (answersSeek) _tell({.kind = Kind::Seek, .generation = event.generation});
  // What was asked meanwhile comes to this process too.
  if (_isOf(event.generation) && _state->restoring && !_state->load.playing) _restored();
}

void RemoteEngine::_restored() {
  const std::uint64_t generation = _state->load.generation;
  _state->restoring = false;
  if (const auto position = std::exchange(_state->position, std::nullopt)) _handle(*position);
  if (_isOf(generation) && std::exchange(_state->pauseUntold, false))
    _tell({.kind = Kind::Pause, .generation = generation});
}

void RemoteEngine::_died() {
  // The object is in the middle of this call.
  const auto dead = std::move(_process);
  _items.clear();
  // It may be what killed the process. Its own load will show.
  _prepared.reset();
  if (!_state || _state->failed) return;
  const auto now = _clock.now();
  const bool again =
      _death && _death->item.lock() == _state->load.item && now - _death->at < kDeathInterval;
  _death = Death{_state->load.item, now};
  if (again)
    return _fail(processError(platform::MediaErrorCode::ProcessLost,
                              "The process that played them has ended twice."));
  TVSLogWarning(TVSSystemLog, "The media go on in another process");
  _goOn();
}

void RemoteEngine::_goOn() {
  platform::MediaLoad load = _state->load;
  if (_state->ready) {
    load.startSeconds = _state->seekDestination.value_or(_screen->clock->seconds());
    load.startFraction.reset();
    load.startDate.reset();
    _state->restoring = true;
    _screen->clock->hold(*load.startSeconds);
  }
  if (!_ensureProcess())
    return _fail(processError(platform::MediaErrorCode::ProcessLost,
                              "The process that played them has ended."));
  // The picture that is shown stays until the first one of this process.
  _process->setMinimumEpoch(++_epoch);
  _sendLoad(load, false);
  if (_state->pendingSeek) _send(*_state->pendingSeek);
}

}  // namespace box
