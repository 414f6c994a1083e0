// The next item of the playlist, prepared while the current one comes to its end.
//
// One timer, set for when the end is near and again whenever position, rate, end or playlist have
// changed; while time stands still there is none.

#include <algorithm>

#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

namespace {
/// Long enough for a slow server, short enough that somebody who skips about does not load it all.
constexpr double kAheadSeconds = 10;
}  // namespace

std::shared_ptr<TVSMediaItem> TVSPlayer::_itemToFollow() const {
  const bool follows =
      _isReady() && _items.playlist && _settings.endAction == TVSMediaItemEndAction::Advance;
  return follows ? _items.playlist->nextItem() : nullptr;
}

std::optional<double> TVSPlayer::_secondsLeft() const {
  if (_phase != Phase::Playing || _engineRate <= 0) return std::nullopt;
  double end = duration();
  if (end <= 0) return std::nullopt;
  if (_item->_forwardEndSeconds) end = std::min(end, *_item->_forwardEndSeconds);
  return std::max(0.0, end - elapsedTime()) / _engineRate;
}

void TVSPlayer::_updatePreparation() {
  _preparation.timer.reset();
  const auto next = _itemToFollow();
  const auto left = _secondsLeft();
  // One that is still to come is kept, whatever time does, until the end has moved far away.
  if (_preparation.item && (_preparation.item != next || left.value_or(0) > 2 * kAheadSeconds)) {
    _preparation.item.reset();
    if (_engine) _engine->cancelPreparation();
  }
  if (!next || !left || next == _preparation.item) return;
  if (*left > kAheadSeconds) {
    _preparation.timer = _platform.mainQueue().after(
        platform::durationFromSeconds(*left - kAheadSeconds), [this] { _updatePreparation(); });
    return;
  }
  _preparation.item = next;
  platform::MediaLoad load = _loadOf(next, {});
  load.playing = true;
  _engine->prepare(load);
}
