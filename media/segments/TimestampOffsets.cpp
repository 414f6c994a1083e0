#include "media/segments/TimestampOffsets.h"

#include <cmath>

namespace media {
namespace {

/// Tracks with the same clock start within this many seconds of each other.
constexpr double kSharedClockTolerance = 5;
constexpr std::size_t kMaxOffsets = 512;

}  // namespace

int TimestampOffsets::addTrack() {
  const std::lock_guard lock(_mutex);
  return _trackCount++;
}

double TimestampOffsets::offsetFor(int track, const streaming::Segment& segment,
                                   double firstTimestamp) {
  const std::lock_guard lock(_mutex);
  const double own = segment.start - firstTimestamp;
  const auto privateKey = std::pair(segment.discontinuity, track);
  if (const auto found = _private.find(privateKey); found != _private.end()) return found->second;
  const auto [shared, isNew] = _shared.try_emplace(segment.discontinuity, own);
  if (isNew && _shared.size() > kMaxOffsets)
    _shared.erase(shared == _shared.begin() ? std::prev(_shared.end()) : _shared.begin());
  if (isNew || std::abs(own - shared->second) <= kSharedClockTolerance)
    return isNew ? own : shared->second;
  _private.emplace(privateKey, own);
  if (_private.size() > kMaxOffsets)
    _private.erase(_private.begin()->first == privateKey ? std::prev(_private.end())
                                                         : _private.begin());
  return own;
}

std::optional<double> TimestampOffsets::known(int track, const streaming::Segment& segment) const {
  const std::lock_guard lock(_mutex);
  if (const auto found = _private.find({segment.discontinuity, track}); found != _private.end())
    return found->second;
  if (const auto found = _shared.find(segment.discontinuity); found != _shared.end())
    return found->second;
  return std::nullopt;
}

}  // namespace media
