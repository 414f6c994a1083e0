#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>

#include <gst/gst.h>

namespace media {

/// What is to be played since the last seek. Of a seek to a key frame the start is known only when
/// the frame has been found; the sound waits for it.
///
/// Threads: any.
class PlayRange {
 public:
  /// `segment`: of time. `awaitsKey`: its start is to be found.
  void begin(const GstSegment& segment, guint32 seekNumber, bool awaitsKey);
  /// Ends waits until begin().
  void cancel();
  bool isCancelled() const;

  /// The first call since begin() counts.
  void startAt(GstClockTime time);
  /// Nothing better is found: it starts where it was asked for.
  void startAsAsked();
  /// Waits for the start. None: cancelled.
  std::optional<GstSegment> await();

  GstSegment asked() const;
  guint32 seekNumber() const;

 private:
  mutable std::mutex _mutex;  // guards the rest
  std::condition_variable _changed;
  GstSegment _segment{};
  guint32 _seekNumber = 0;
  bool _awaitsKey = false;
  bool _isCancelled = true;
};

}  // namespace media
