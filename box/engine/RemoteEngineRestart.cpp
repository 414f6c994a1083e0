// Start and death of the media process, and the restart of an item in a new process.

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

void RemoteEngine::_failAsynchronously() {
  _state->failed = true;
  _failureTask = _queue.after({}, [this] {
    _fail(processError(platform::MediaErrorCode::PlayerUnavailable,
                       "A media process could not be started."));
  });
}

bool RemoteEngine::_completeSeek(std::uint64_t serial) {
  if (serial != _lastSeek || !_state->pendingSeek) return false;
  _state->pendingSeek.reset();
  _state->seekDestination.reset();
  return true;
}

void RemoteEngine::_becomeReady(const media::PlaybackEvent& event) {
  const bool answersSeek = _completeSeek(event.seekSerial);
  if (!std::exchange(_state->ready, true)) return _notify(event);
  for (const auto& [characteristic, identifier] : _state->selections)
    _send(media::SelectCommand{characteristic, identifier});
  for (const auto& [track, enabled] : _state->tracks) _send(media::TrackCommand{track, enabled});
  if (answersSeek) _notify({.kind = Kind::Seek, .generation = event.generation});
  // Requests from observers above have been sent to this process too.
  if (_isCurrent(event.generation) && _state->restoring && !_state->load.playing) _finishRestore();
}

void RemoteEngine::_finishRestore() {
  const std::uint64_t generation = _state->load.generation;
  _state->restoring = false;
  if (const auto position = std::exchange(_state->position, std::nullopt)) _handle(*position);
  if (_isCurrent(generation) && std::exchange(_state->pausePending, false))
    _notify({.kind = Kind::Pause, .generation = generation});
}

void RemoteEngine::_processDied() {
  // Keep the process alive: this is called from one of its callbacks.
  const auto dead = std::move(_process);
  _items.clear();
  // The prepared item may have crashed the process. It is loaded again when it is its turn.
  _prepared.reset();
  if (!_state || _state->failed) return;
  const auto now = _clock.now();
  const bool isSecondDeath =
      _death && _death->item.lock() == _state->load.item && now - _death->at < kDeathInterval;
  _death = Death{_state->load.item, now};
  if (isSecondDeath)
    return _fail(
        processError(platform::MediaErrorCode::ProcessLost, "The media process died twice."));
  TVSLogWarning(TVSSystemLog, "Playback continues in a new media process");
  _restart();
}

void RemoteEngine::_restart() {
  platform::MediaLoad load = _state->load;
  if (_state->ready) {
    load.startSeconds = _state->seekDestination.value_or(_output->clock->seconds());
    load.startFraction.reset();
    load.startDate.reset();
    _state->restoring = true;
    _output->clock->hold(*load.startSeconds);
  }
  if (!_ensureProcess())
    return _fail(processError(platform::MediaErrorCode::ProcessLost, "The media process died."));
  // The last picture stays on screen until the first one of the new process arrives.
  _process->setMinimumEpoch(++_epoch);
  _sendLoad(load, false);
  if (_state->pendingSeek) _send(*_state->pendingSeek);
}

}  // namespace box
