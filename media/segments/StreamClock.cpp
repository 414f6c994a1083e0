#include "media/segments/StreamClock.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace media {
namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;
/// About a century.
constexpr std::int64_t kMaxTime = std::int64_t{4} * 1'000'000'000 * kNanoseconds;
/// Maximum distance of a time from its segment, also in durations of the segment.
constexpr std::int64_t kMaxDistance = 60 * kNanoseconds;
constexpr std::int64_t kMaxDistanceInDurations = 10;

/// Returns whether the distance of a time to its segment is implausible.
bool isImplausible(std::int64_t time, const SegmentTiming& timing) {
  const std::int64_t limit = timing.duration > 0
                                 ? std::min(kMaxDistance, std::max(timing.duration, kNanoseconds) *
                                                              kMaxDistanceInDurations)
                                 : kMaxDistance;
  return time < timing.start - limit || time > timing.start + timing.duration + limit;
}

}  // namespace

std::int64_t rescaledTicks(std::int64_t ticks, AVRational base) {
  const std::int64_t scaled = av_rescale_q(ticks, base, {1, static_cast<int>(kNanoseconds)});
  return std::clamp(scaled, -kMaxTime, kMaxTime);
}

std::int64_t nanosecondsOf(double seconds) {
  const double scaled = seconds * static_cast<double>(kNanoseconds);
  const auto limit = static_cast<double>(kMaxTime);
  if (std::isnan(scaled)) return 0;
  return std::llround(std::clamp(scaled, -limit, limit));
}

std::int64_t unwrapped(std::int64_t ticks, std::int64_t reference, int bits) {
  const std::int64_t period = std::int64_t{1} << bits;
  const std::int64_t half = period / 2;
  // The remainder in [-half, half).
  std::int64_t away = (ticks - reference) % period;
  if (away < -half) away += period;
  if (away >= half) away -= period;
  return reference + away;
}

PacketTimes StreamClock::timesOf(const RawTimes& raw, const SegmentTiming& timing) {
  PacketTimes times;
  const auto placed = [&](std::int64_t ticks) {
    return rescaledTicks(ticks, raw.base) + timing.offset;
  };
  const std::int64_t expected = _next.value_or(timing.start);
  const auto stamp = raw.pts ? raw.pts : raw.dts;
  std::int64_t pts = stamp ? placed(*stamp) + _correction : expected;
  if (stamp && isImplausible(pts, timing)) {
    const std::int64_t end = _end.value_or(timing.start);
    const std::int64_t meant = isImplausible(end, timing) ? timing.start : end;
    _correction += meant - pts;
    pts = meant;
    times.wasMoved = true;
  }
  const std::int64_t duration =
      raw.exactDuration ? *raw.exactDuration
      : raw.duration > 0
          ? std::clamp(rescaledTicks(raw.duration, raw.base), std::int64_t{0}, kMaxDistance)
          : 0;
  _next = pts + duration;
  _end = std::max(_end.value_or(*_next), *_next);
  std::int64_t dts = raw.dts && stamp ? std::min(placed(*raw.dts) + _correction, pts) : pts;
  if (raw.dts && isImplausible(dts, timing)) dts = pts;
  dts = std::max(dts, _lastDTS.value_or(dts));
  _lastDTS = dts;

  times.isBeforeStart = pts < 0;
  times.pts = static_cast<GstClockTime>(std::max(pts, std::int64_t{0}));
  if (raw.dts && dts >= 0) times.dts = static_cast<GstClockTime>(dts);
  if (duration > 0) times.duration = static_cast<GstClockTime>(duration);
  return times;
}

}  // namespace media
