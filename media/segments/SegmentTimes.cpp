#include <algorithm>
#include <cstdlib>

#include "media/segments/AudioFrames.h"
#include "media/segments/SegmentDemuxer.h"
#include "media/segments/TimestampOffsets.h"
#include "media/support/GstTime.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace media {

using streaming::TrackPiece;

namespace {

constexpr int kTransportBits = 33;
constexpr AVRational kTransportBase{1, 90000};
constexpr AVRational kNanosecondBase{1, 1'000'000'000};
// Durations in playlists are rounded: smaller differences are not gaps in packed audio.
constexpr std::int64_t kDurationRounding = 100'000'000;

double secondsOfTicks(std::int64_t ticks, AVRational base) {
  return static_cast<double>(ticks) * base.num / base.den;
}

std::int64_t ticksOfSeconds(double seconds, AVRational base) {
  return av_rescale_q(nanosecondsOf(seconds), kNanosecondBase, base);
}

}  // namespace

/// Returns the unwrapped time stamps of a packet.
RawTimes SegmentDemuxer::_rawTimes(const AVStream& stream, const AVPacket& packet) {
  RawTimes raw{.duration = packet.duration, .base = stream.time_base};
  if (raw.base.num <= 0 || raw.base.den <= 0) raw.base = kTransportBase;
  const auto frame =
      audioFrameOf(stream.codecpar->codec_id, {packet.data, static_cast<std::size_t>(packet.size)});
  // Raw AAC has no frame headers, but its bytes may look like one.
  const bool hasHeaders =
      stream.codecpar->codec_id != AV_CODEC_ID_AAC || stream.codecpar->extradata_size == 0;
  if (frame && hasHeaders)
    raw.exactDuration = av_rescale(frame->samples, kNanosecondBase.den, frame->rate);
  if (isPackedAudio(_run->format())) {
    const std::int64_t length = frame ? frame->samples : std::max<std::int64_t>(packet.duration, 0);
    if (frame) raw.base = {1, frame->rate};
    raw.duration = length;
    raw.pts = raw.dts = _framePosition;
    _framePosition += length;
    return raw;
  }
  if (packet.pts != AV_NOPTS_VALUE) raw.pts = packet.pts;
  if (packet.dts != AV_NOPTS_VALUE) raw.dts = packet.dts;
  if (_run->format() != ContainerFormat::TransportStream) return raw;
  if (!_reference) {
    const TrackPiece& piece = _run->pieceAt(packet.pos);
    const auto offset = _offset          ? _offset
                        : _setup.offsets ? _setup.offsets->known(_track, piece.segment)
                                         : std::nullopt;
    if (offset) _reference = ticksOfSeconds(piece.segment.start - *offset, raw.base);
  }
  for (auto* const stamp : {&raw.dts, &raw.pts}) {
    if (!*stamp) continue;
    if (_reference) *stamp = unwrapped(**stamp, *_reference, kTransportBits);
    _reference = **stamp;
  }
  return raw;
}

double SegmentDemuxer::_offsetOfFirst(const RawTimes& raw, const TrackPiece& piece) const {
  const std::int64_t first = raw.pts.value_or(raw.dts.value_or(0));
  const double seconds = secondsOfTicks(first, raw.base);
  if (_setup.offsets) return _setup.offsets->offsetFor(_track, piece.segment, seconds);
  return piece.segment.start - seconds;
}

std::optional<SegmentTiming> SegmentDemuxer::_timingFor(const Output& output, const RawTimes& raw,
                                                        const TrackPiece& piece) {
  SegmentTiming frame{.start = nanosecondsOf(piece.segment.start),
                      .duration = nanosecondsOf(piece.segment.duration)};
  if (!isPackedAudio(_run->format())) {
    if (!_offset) {
      if (!raw.pts && !raw.dts) return frame;
      _offset = _offsetOfFirst(raw, piece);
    }
    frame.offset = nanosecondsOf(*_offset);
    return frame;
  }
  // The offset applies to the whole piece.
  if (!_reference) {
    const std::int64_t end = output.clock.end().value_or(frame.start);
    if (_run->tagTimestamp())
      _reference = _startOfPackedAudio(piece);
    else
      _reference = std::abs(end - frame.start) <= kDurationRounding ? end : frame.start;
  }
  if (!_offset) _offset = secondsOf(*_reference);
  frame.offset = *_reference;
  return frame;
}

/// Returns the start of packed audio according to its ID3 tag, in nanoseconds.
std::int64_t SegmentDemuxer::_startOfPackedAudio(const TrackPiece& piece) {
  std::int64_t stamp = *_run->tagTimestamp();
  auto offset = _offset;
  if (!offset && _setup.offsets) offset = _setup.offsets->known(_track, piece.segment);
  if (offset)
    stamp = unwrapped(stamp, ticksOfSeconds(piece.segment.start - *offset, kTransportBase),
                      kTransportBits);
  if (!_offset) _offset = _offsetOfFirst({.pts = stamp, .base = kTransportBase}, piece);
  return av_rescale_q(stamp, kTransportBase, kNanosecondBase) + nanosecondsOf(*_offset);
}

/// Emits the metadata that was found, once the offset of the time stamps is known.
void SegmentDemuxer::_emitMetadata() {
  if (!_offset) return;
  const double start = _run->newestPiece().segment.start;
  for (std::string& event : _run->takeEvents())
    _setup.foundEvent(start, *_offset, std::move(event));
  for (std::string& tag : _run->takeTags())
    if (_setup.foundID3) _setup.foundID3(start, std::move(tag));
  for (auto& [ticks, tag] : _run->takeStreamTags()) {
    const std::int64_t time = _reference ? unwrapped(ticks, *_reference, kTransportBits) : ticks;
    _setup.foundID3(
        secondsOf(av_rescale_q(time, kTransportBase, kNanosecondBase) + nanosecondsOf(*_offset)),
        std::move(tag));
  }
}

}  // namespace media
