// When media do not come in time. On the pipeline's thread.

#include <algorithm>
#include <utility>

#include "media/pipeline/Pipeline.h"

namespace media {
namespace {

using Kind = PipelineEvent::Kind;

/// A demuxer that waits is normal: decoders and sinks hold media for a while. Only when it has
/// waited for so long are the sinks looked at, and again after each interval.
constexpr auto kDryInterval = std::chrono::milliseconds(100);

/// After a stall, a demuxer that has not waited for so long has filled the queues behind it.
constexpr auto kRefillTime = std::chrono::milliseconds(300);

/// So much is to have come after a stall when "100 %" is told.
constexpr double kRefillSeconds = 2;
constexpr double kUnknownBitrate = 4e6;

}  // namespace

void Pipeline::_noteWaiting(bool waits) {
  if (_failed || std::exchange(_waits, waits) == waits) return;
  _progress();
  _watchDryness();
  _refilledAt.reset();
  if (!waits && _buffering) _refilledAt = _clock.now() + kRefillTime;
  _publishBuffer();
}

/// Where bytes come slowly, waits begin and end all the time: one look is due after each of them.
void Pipeline::_watchDryness() {
  if (!_timeRuns)
    _dryAt.reset();
  else if (_waits && !_dryAt)
    _dryAt = _clock.now() + kDryInterval;
}

void Pipeline::_handleDryness() {
  _dryAt.reset();
  if (!_timeRuns || _seeking || _scrubbing || _atEnd) return;
  const double position = _queryPosition();
  const auto isDry = [&](const SinkProgress& sink, GstStreamType type) {
    return _catalog.plays(type) && !sink.hasEnded() && sink.end() >= 0 && sink.end() <= position;
  };
  if (_appliedRate > 0 && (isDry(_videoProgress, GST_STREAM_TYPE_VIDEO) ||
                           isDry(_soundProgress, GST_STREAM_TYPE_AUDIO)))
    _stall();
  else
    _watchDryness();
}

void Pipeline::_stall() {
  if (std::exchange(_buffering, true)) return;
  _bytesAtStall = _setup.item ? _setup.item->statistics().bytesTransferred : 0;
  // The demuxer may have gone on since the look became due: then nothing else ends this stall.
  if (!_waits) _refilledAt = _clock.now() + kRefillTime;
  _setState(GST_STATE_PAUSED);
  _playAnnounced = false;
  {
    const std::lock_guard lock(_mutex);
    ++_statistics.stallCount;
  }
  _publishBuffer();
  _report(Kind::Stall);
}

void Pipeline::_handleRefill() {
  _refilledAt.reset();
  _buffering = false;
  _publishBuffer();
  _report(Kind::Facts);
}

void Pipeline::_publishBuffer() {
  const auto before = _facts.bufferingPercent;
  const bool fills = _buffering || (!_prerolled && _waits);
  _facts.bufferingPercent.reset();
  if (fills && _setup.item) {
    const auto legs = _setup.item->legs();
    const double bitrate =
        legs.empty() ? kUnknownBitrate : legs.back().indicatedBitrate.value_or(kUnknownBitrate);
    const auto bytes = _setup.item->statistics().bytesTransferred - _bytesAtStall;
    const double share = 8 * static_cast<double>(bytes) / (bitrate * kRefillSeconds);
    _facts.bufferingPercent = static_cast<int>(std::clamp(100 * share, 0.0, 99.0));
  }
  _facts.bufferEmpty = fills && _facts.bufferingPercent.value_or(0) == 0;
  _facts.bufferFull = !fills && !_waits;
  _facts.likelyToKeepUp = !fills;
  _publishFacts();
  if (before != _facts.bufferingPercent && fills && (!_ready || _buffering)) _report(Kind::Facts);
}

}  // namespace media
