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

  /// The time to ready counts from now on instead of from the construction.
  void restart();
  void noteReady();
  void noteTime(bool runs);
  void noteStall();
  void noteDroppedFrame();
  /// The media begin to come from elsewhere.
  void noteLeg();

  /// At the end of each leg, and now.
  std::vector<PlaybackStatistics> legs() const;

 private:
  PlaybackStatistics _now() const;

  const platform::Clock& _clock;
  mutable std::mutex _mutex;
  platform::TimePoint _startedAt;
  PlaybackStatistics _statistics;
  std::vector<PlaybackStatistics> _legs;          // at the end of each
  std::optional<platform::TimePoint> _runsSince;  // time runs
};

}  // namespace media
