#include "media/pipeline/playback/Buffering.h"

#include <algorithm>
#include <utility>

#include "media/support/GstTime.h"

namespace media {
namespace {

/// A waiting demuxer is normal, because decoders and sinks have data for a while. After this time
/// the sinks are checked for an underrun, and again after each interval.
constexpr auto kUnderrunCheckInterval = std::chrono::milliseconds(100);

/// After a stall, a demuxer that has not waited for this long has filled the queues.
constexpr auto kRefillTime = std::chrono::milliseconds(300);

/// The amount of data that counts as "100 %" after a stall.
constexpr double kRefillSeconds = 2;
constexpr double kUnknownBitrate = 4e6;

/// Playback without new data for this time is checked. Pictures may be further apart.
constexpr auto kDataCheckInterval = std::chrono::seconds(15);
/// The check is repeated, because the process may have been stopped meanwhile.
constexpr auto kDataRecheckInterval = std::chrono::seconds(1);

}  // namespace

void Buffering::watch(const PlayerElements& elements) {
  if (elements.video->element()) _videoProgress.watch(elements.video->element());
  if (elements.sound->element()) _soundProgress.watch(elements.sound->element());
}

void Buffering::noteWaiting(bool waits) {
  if (_state.failed || std::exchange(_state.waits, waits) == waits) return;
  _progressTimeout.noteProgress();
  _scheduleUnderrunCheck();
  _refilledAt.reset();
  if (!waits && _state.buffering) _refilledAt = _load.clock.now() + kRefillTime;
  _publish();
}

void Buffering::noteSeek() {
  _state.buffering = false;
  _refilledAt.reset();
}

void Buffering::stop() {
  _underrunCheckAt.reset();
  _refilledAt.reset();
  _dataCheckAt.reset();
}

void Buffering::watchData(bool expectsData) {
  if (!expectsData) {
    _isDataLost = false;
    _dataCheckAt.reset();
  }
  if (!expectsData || _dataCheckAt) return;
  _dataCheckAt = _load.clock.now() + (_isDataLost ? kDataRecheckInterval : kDataCheckInterval);
  _itemsBeforeCheck = _itemCount();
}

bool Buffering::checkForLostData() {
  _dataCheckAt.reset();
  const bool wasLost = _isDataLost;
  _isDataLost = _hasNoData();
  return wasLost && _isDataLost;
}

bool Buffering::_hasNoData() const {
  const auto& item = _load.setup.item;
  // Transfers have time-outs of their own.
  if (_itemCount() != _itemsBeforeCheck || _state.waits || (item && item->isBusy())) return false;
  GstState current = GST_STATE_NULL;
  GstState pending = GST_STATE_VOID_PENDING;
  gst_element_get_state(_player.element(), &current, &pending, 0);
  if (current != GST_STATE_PLAYING || pending != GST_STATE_VOID_PENDING) return true;
  // Not that of the player, which is held until the first picture is due.
  gint64 reached = 0;
  if (!gst_element_query_position(_player.element(), GST_FORMAT_TIME, &reached)) return true;
  const double position = secondsOf(reached);
  const auto hasData = [this, position](const SinkProgress& sink, GstStreamType type) {
    return _catalog.plays(type) && sink.end() > position;
  };
  // Backwards, the position passes all data and stays at the start.
  if (_state.rate < 0) return position <= 0;
  return !hasData(_videoProgress, GST_STREAM_TYPE_VIDEO) &&
         !hasData(_soundProgress, GST_STREAM_TYPE_AUDIO);
}

/// On slow networks waits begin and end all the time: at least one check is due after each of them.
void Buffering::_scheduleUnderrunCheck() {
  if (!_state.timeRuns)
    _underrunCheckAt.reset();
  else if (_state.waits && !_underrunCheckAt)
    _underrunCheckAt = _load.clock.now() + kUnderrunCheckInterval;
}

bool Buffering::_hasUnderrun(const SinkProgress& sink, GstStreamType type, double position) const {
  return _catalog.plays(type) && !sink.hasEnded() && sink.end() >= 0 && sink.end() <= position;
}

void Buffering::checkForUnderrun() {
  _underrunCheckAt.reset();
  if (!_state.timeRuns || _state.seeking || _state.scrubbing || _state.atEnd) return;
  const double position = _player.position();
  if (_state.rate > 0 && (_hasUnderrun(_videoProgress, GST_STREAM_TYPE_VIDEO, position) ||
                          _hasUnderrun(_soundProgress, GST_STREAM_TYPE_AUDIO, position)))
    _stall();
  else
    _scheduleUnderrunCheck();
}

void Buffering::_stall() {
  if (std::exchange(_state.buffering, true)) return;
  const auto& item = _load.setup.item;
  _bytesAtStall = item ? item->statistics().bytesTransferred : 0;
  // The demuxer may have resumed since the check was scheduled: nothing else would end this stall.
  if (!_state.waits) _refilledAt = _load.clock.now() + kRefillTime;
  _player.setState(GST_STATE_PAUSED);
  _announcements.renewPlay();
  _load.statistics.noteStall();
  _publish();
  _announcements.stall();
}

void Buffering::handleRefill() {
  _refilledAt.reset();
  _state.buffering = false;
  _publish();
  _announcements.facts();
}

void Buffering::_publish() {
  platform::MediaFacts& facts = _load.facts.newest();
  const auto& item = _load.setup.item;
  const auto before = facts.bufferingPercent;
  const bool fills = _state.buffering || (!_state.prerolled && _state.waits);
  facts.bufferingPercent.reset();
  if (fills && item) {
    const auto entries = item->accessLog();
    const double bitrate = entries.empty()
                               ? kUnknownBitrate
                               : entries.back().indicatedBitrate.value_or(kUnknownBitrate);
    const auto bytes = item->statistics().bytesTransferred - _bytesAtStall;
    const double share = 8 * static_cast<double>(bytes) / (bitrate * kRefillSeconds);
    facts.bufferingPercent = static_cast<int>(std::clamp(100 * share, 0.0, 99.0));
  }
  facts.bufferEmpty = fills && facts.bufferingPercent.value_or(0) == 0;
  facts.bufferFull = !fills && !_state.waits;
  facts.likelyToKeepUp = !fills;
  _load.facts.publish();
  if (before != facts.bufferingPercent && fills && (!_state.ready || _state.buffering))
    _announcements.facts();
}

}  // namespace media
