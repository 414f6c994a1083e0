#pragma once

#include <atomic>
#include <cstdint>

#include <gst/gst.h>

namespace media {

/// The end of the newest buffer that a sink has received, in stream time.
///
/// Threads: watch() before data flows; the rest any.
class SinkProgress {
 public:
  SinkProgress() { gst_segment_init(&_segment, GST_FORMAT_UNDEFINED); }
  SinkProgress(const SinkProgress&) = delete;
  SinkProgress& operator=(const SinkProgress&) = delete;

  /// Adds a probe to the pad "sink" of `element`, which must not outlive this object.
  void watch(GstElement* element);
  /// Seconds; negative if no buffer has arrived since the start or the last flush.
  double end() const { return _end; }
  bool hasEnded() const { return _hasEnded; }
  /// Counts buffers, gaps and ends.
  std::uint64_t itemCount() const { return _itemCount; }

 private:
  static GstPadProbeReturn _onData(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _take(GstBuffer* buffer);

  std::atomic<double> _end = -1;
  std::atomic<bool> _hasEnded = false;
  std::atomic<std::uint64_t> _itemCount = 0;
  GstSegment _segment;  // streaming thread only
};

}  // namespace media
