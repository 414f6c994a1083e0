#pragma once

#include <cstdint>
#include <optional>

#include <gst/gst.h>

extern "C" {
#include <libavutil/rational.h>
}

namespace media {

/// Where packets are expected on the time line of the presentation, in nanoseconds.
struct ClockFrame {
  std::int64_t start = 0;     ///< of the segment
  std::int64_t duration = 0;  ///< of the segment
  std::int64_t offset = 0;    ///< added to the time stamps of the media
};

/// The times of one packet as the media have them.
struct RawTimes {
  std::optional<std::int64_t> pts{};  ///< in units of `base`
  std::optional<std::int64_t> dts{};
  std::int64_t duration = 0;
  AVRational base{1, 1};
  std::optional<std::int64_t> exactDuration{};  ///< nanoseconds; instead of `duration`
};

struct PacketTimes {
  GstClockTime pts = GST_CLOCK_TIME_NONE;
  GstClockTime dts = GST_CLOCK_TIME_NONE;
  GstClockTime duration = GST_CLOCK_TIME_NONE;
  bool isBeforeStart = false;  ///< of the presentation: its time was negative
  bool wasMoved = false;       ///< its time stamp lay far from its segment
};

std::int64_t nanosecondsOf(double seconds);
/// `ticks` moved by whole periods of 2^`bits`, so that it is nearest to `reference`.
std::int64_t unwrapped(std::int64_t ticks, std::int64_t reference, int bits);

/// Makes times of the presentation out of the time stamps of one elementary stream: in order,
/// without holes, and near to where the manifest says that they are.
class StreamClock {
 public:
  /// What follows has nothing to do with what came before.
  void restart() { *this = {}; }
  /// What follows has time stamps of its own, and may begin anywhere near its segment.
  void beginPiece() { _correction = 0; }
  /// And it does not follow what came before.
  void breakOff() {
    _next.reset();
    _end.reset();
  }

  PacketTimes timesOf(const RawTimes& raw, const ClockFrame& frame);
  /// The end of the latest packet. None: there was none yet.
  std::optional<std::int64_t> end() const { return _end; }

 private:
  std::int64_t _correction = 0;
  std::optional<std::int64_t> _next;  // where a packet without a time stamp goes
  std::optional<std::int64_t> _end;   // of the latest in time, which need not be the newest
  std::optional<std::int64_t> _lastDTS;
};

}  // namespace media
