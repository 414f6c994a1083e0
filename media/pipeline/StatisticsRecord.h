#pragma once

#include <mutex>
#include <optional>
#include <vector>

#include "media/engine/AccessLog.h"
#include "platform/foundation/queues/Clock.h"

namespace media {

/// Counts what happens during a load, for the access log.
///
/// Threads: any.
class StatisticsRecord {
 public:
  explicit StatisticsRecord(const platform::Clock& clock)
      : _clock(clock), _startedAt(clock.now()) {}

  /// Measures the time to ready from now on.
  void restart();
  void noteReady();
  void noteTime(bool runs);
  void noteStall();
  void noteDroppedFrame();
  /// A new access log entry begins: the media come from another server or variant.
  void noteAccessLogEntry();

  /// Returns the statistics at the end of each entry, and the current ones.
  std::vector<PlaybackStatistics> entries() const;

 private:
  PlaybackStatistics _now() const;

  const platform::Clock& _clock;
  mutable std::mutex _mutex;
  platform::TimePoint _startedAt;
  PlaybackStatistics _statistics;
  std::vector<PlaybackStatistics> _entries;       // at the end of each entry
  std::optional<platform::TimePoint> _runsSince;  // set while time runs
};

}  // namespace media
