#include "media/pipeline/StatisticsRecord.h"

#include <utility>

#include "streaming/playback/StreamedItem.h"

namespace media {

void StatisticsRecord::restart() {
  const std::lock_guard lock(_mutex);
  _startedAt = _clock.now();
}

void StatisticsRecord::noteReady() {
  const std::lock_guard lock(_mutex);
  _statistics.startupSeconds = platform::secondsFromDuration(_clock.now() - _startedAt);
}

void StatisticsRecord::noteTime(bool runs) {
  const auto now = _clock.now();
  const std::lock_guard lock(_mutex);
  if (runs)
    _runsSince = now;
  else
    _statistics.watchedSeconds +=
        platform::secondsFromDuration(now - *std::exchange(_runsSince, std::nullopt));
}

void StatisticsRecord::noteStall() {
  const std::lock_guard lock(_mutex);
  ++_statistics.stallCount;
}

void StatisticsRecord::noteDroppedFrame() {
  const std::lock_guard lock(_mutex);
  ++_statistics.droppedFrameCount;
}

void StatisticsRecord::noteAccessLogEntry() {
  const std::lock_guard lock(_mutex);
  _entries.push_back(_now());
  if (_entries.size() >= streaming::StreamedItem::kMaxAccessLogEntries)
    _entries.erase(_entries.begin());
}

std::vector<PlaybackStatistics> StatisticsRecord::entries() const {
  const std::lock_guard lock(_mutex);
  std::vector<PlaybackStatistics> result = _entries;
  result.push_back(_now());
  return result;
}

PlaybackStatistics StatisticsRecord::_now() const {
  PlaybackStatistics statistics = _statistics;
  if (_runsSince)
    statistics.watchedSeconds += platform::secondsFromDuration(_clock.now() - *_runsSince);
  return statistics;
}

}  // namespace media
