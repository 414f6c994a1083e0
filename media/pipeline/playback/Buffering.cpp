#include "media/pipeline/playback/Buffering.h"

#include <algorithm>
#include <utility>

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
  if (!expectsData) return _dataCheckAt.reset();
  if (_dataCheckAt) return;
  _dataCheckAt = _load.clock.now() + kDataCheckInterval;
  _itemsBeforeCheck = _itemCount();
}

bool Buffering::checkForLostData() {
  _dataCheckAt.reset();
  const auto& item = _load.setup.item;
  // Transfers have time-outs of their own.
  if (_itemCount() != _itemsBeforeCheck || _state.waits || (item && item->isBusy())) return false;
  if (!_state.timeRuns) return true;
  const double position = _player.position();
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
