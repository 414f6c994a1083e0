// Prepares the next item of the playlist shortly before the end of the current one.
//
// A timer fires shortly before the end. It is set again when the position, rate, end time or
// playlist changes. There is no timer while playback stands still.

#include <algorithm>

#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

namespace {
/// Long enough for a slow server. Short enough that skipping through an item rarely loads the next.
constexpr double kPreparationLeadSeconds = 10;
}  // namespace

std::shared_ptr<TVSMediaItem> TVSPlayer::_itemToPrepare() const {
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
  const auto next = _itemToPrepare();
  const auto left = _secondsLeft();
  // A prepared item is kept during pauses, and until the end is more than twice the lead away.
  if (_preparation.item &&
      (_preparation.item != next || left.value_or(0) > 2 * kPreparationLeadSeconds)) {
    _preparation.item.reset();
    if (_engine) _engine->cancelPreparation();
  }
  if (!next || !left || next == _preparation.item) return;
  if (*left > kPreparationLeadSeconds) {
    _preparation.timer =
        _platform.mainQueue().after(platform::durationFromSeconds(*left - kPreparationLeadSeconds),
                                    [this] { _updatePreparation(); });
    return;
  }
  _preparation.item = next;
  platform::MediaLoad load = _makeLoad(next, {});
  load.playing = true;
  _engine->prepare(load);
}
