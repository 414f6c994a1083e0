#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>

#include <gst/gst.h>

namespace media {

/// The segment to play since the last seek. After a seek to a key unit, the start is only known
/// when the key frame has been found; audio waits for it.
///
/// Threads: any.
class PlayRange {
 public:
  /// `segment` is in time format. `awaitsKey`: the start is set later by startAt().
  void begin(const GstSegment& segment, guint32 seekNumber, bool awaitsKey);
  /// Ends all waits until begin().
  void cancel();
  bool isCancelled() const;

  /// Sets the start. Only the first call since begin() has an effect.
  void startAt(GstClockTime time);
  /// No key frame was found: starts at the requested time.
  void startAtRequest();
  /// Blocks until the start is known. Returns nullopt if cancelled.
  std::optional<GstSegment> await();

  GstSegment requested() const;
  guint32 seekNumber() const;

 private:
  mutable std::mutex _mutex;  // guards the members below
  std::condition_variable _changed;
  GstSegment _segment{};
  guint32 _seekNumber = 0;
  bool _awaitsKey = false;
  bool _isCancelled = true;
};

}  // namespace media
