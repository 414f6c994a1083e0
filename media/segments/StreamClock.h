#pragma once

#include <cstdint>
#include <optional>

#include <gst/gst.h>

extern "C" {
#include <libavutil/rational.h>
}

namespace media {

/// The expected place of packets in the presentation, in nanoseconds.
struct SegmentTiming {
  std::int64_t start = 0;     ///< start of the segment
  std::int64_t duration = 0;  ///< duration of the segment
  std::int64_t offset = 0;    ///< added to the time stamps of the media
};

/// The times of a packet before the offset is added.
struct RawTimes {
  std::optional<std::int64_t> pts{};  ///< in units of `base`
  std::optional<std::int64_t> dts{};
  std::int64_t duration = 0;
  AVRational base{1, 1};
  std::optional<std::int64_t> exactDuration{};  ///< nanoseconds; used instead of `duration`
};

struct PacketTimes {
  GstClockTime pts = GST_CLOCK_TIME_NONE;
  GstClockTime dts = GST_CLOCK_TIME_NONE;
  GstClockTime duration = GST_CLOCK_TIME_NONE;
  bool isBeforeStart = false;  ///< the presentation time was negative
  bool wasMoved = false;       ///< the time stamp was far from its segment and was corrected
};

std::int64_t nanosecondsOf(double seconds);
/// Converts to nanoseconds, at most about a century, so that sums do not overflow.
std::int64_t rescaledTicks(std::int64_t ticks, AVRational base);
/// Unwraps a time stamp of `bits` bits: adds a multiple of 2^`bits` so that it is nearest to
/// `reference`.
std::int64_t unwrapped(std::int64_t ticks, std::int64_t reference, int bits);

/// Converts the time stamps of an elementary stream to presentation times. DTS never decreases,
/// packets without a time stamp follow the one before, and wrong time stamps far from the segment
/// are corrected.
class StreamClock {
 public:
  /// Call it after a seek.
  void restart() { *this = {}; }
  /// Begins a piece, whose time stamps may need another correction.
  void beginPiece() { _correction = 0; }
  /// The next piece does not continue the one before (a discontinuity).
  void noteDiscontinuity() {
    _next.reset();
    _end.reset();
  }

  PacketTimes timesOf(const RawTimes& raw, const SegmentTiming& timing);
  /// Returns the end of the latest packet, or nullopt before the first one.
  std::optional<std::int64_t> end() const { return _end; }

 private:
  std::int64_t _correction = 0;
  std::optional<std::int64_t> _next;  // for packets without a time stamp
  std::optional<std::int64_t> _end;   // the latest end of a packet
  std::optional<std::int64_t> _lastDTS;
};

}  // namespace media
