#pragma once

#include <atomic>

#include <gst/gst.h>

namespace media {

/// How far a sink has been given media: the end of the newest buffer on the item's time line.
///
/// Threads: watch() before media flow; the rest any.
class SinkProgress {
 public:
  SinkProgress() { gst_segment_init(&_segment, GST_FORMAT_UNDEFINED); }
  SinkProgress(const SinkProgress&) = delete;
  SinkProgress& operator=(const SinkProgress&) = delete;

  /// At the pad "sink" of `element`, which does not outlive this.
  void watch(GstElement* element);
  /// Seconds; negative: nothing has come since the start or the last flush.
  double end() const { return _end; }
  bool hasEnded() const { return _hasEnded; }

 private:
  static GstPadProbeReturn _onData(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _take(GstBuffer* buffer);

  std::atomic<double> _end = -1;
  std::atomic<bool> _hasEnded = false;
  GstSegment _segment;  // streaming thread
};

}  // namespace media
