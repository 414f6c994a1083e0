#include "media/elements/PlayRange.h"

#include <utility>

namespace media {

void PlayRange::begin(const GstSegment& segment, guint32 seekNumber, bool awaitsKey) {
  const std::lock_guard lock(_mutex);
  _segment = segment;
  _seekNumber = seekNumber;
  _awaitsKey = awaitsKey;
  _isCancelled = false;
}

void PlayRange::cancel() {
  const std::lock_guard lock(_mutex);
  _isCancelled = true;
  _changed.notify_all();
}

bool PlayRange::isCancelled() const {
  const std::lock_guard lock(_mutex);
  return _isCancelled;
}

void PlayRange::startAt(GstClockTime time) {
  const std::lock_guard lock(_mutex);
  if (!std::exchange(_awaitsKey, false)) return;
  _segment.start = _segment.time = _segment.position = time;
  _changed.notify_all();
}

void PlayRange::startAtRequest() {
  const std::lock_guard lock(_mutex);
  _awaitsKey = false;
  _changed.notify_all();
}

std::optional<GstSegment> PlayRange::await() {
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [&] { return _isCancelled || !_awaitsKey; });
  if (_isCancelled) return std::nullopt;
  return _segment;
}

GstSegment PlayRange::requested() const {
  const std::lock_guard lock(_mutex);
  return _segment;
}

guint32 PlayRange::seekNumber() const {
  const std::lock_guard lock(_mutex);
  return _seekNumber;
}

}  // namespace media
