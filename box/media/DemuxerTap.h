#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include <gst/gst.h>

namespace box {

/// Listens at the input of one demuxer, whether that is fed or reads by itself.
///
/// Threads: made on any; works on the demuxer's streaming thread, and goes with its pad.
class DemuxerTap {
 public:
  using Bytes = std::span<const std::uint8_t>;

  DemuxerTap() { gst_segment_init(&_segment, GST_FORMAT_UNDEFINED); }
  virtual ~DemuxerTap() = default;
  DemuxerTap(const DemuxerTap&) = delete;
  DemuxerTap& operator=(const DemuxerTap&) = delete;

  /// From now on, until the pad goes.
  static void attach(std::unique_ptr<DemuxerTap> tap, GstPad* sink);

 protected:
  virtual void feed(std::uint64_t offset, Bytes bytes) = 0;
  /// Bytes of another place follow. `recount`: they say anew what time they are of.
  virtual void restart(bool recount) = 0;
  /// Of a demuxer that reads by itself: where and when it likes, and things more than once.
  virtual void feedPulled(GstPad* sink, std::uint64_t offset, Bytes bytes);

  /// In adaptive media the time that was last told, on the item's own time line; elsewhere nothing.
  /// Seconds.
  std::optional<double> origin() const { return _origin; }

 private:
  static GstPadProbeReturn _onData(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _take(GstPad* pad, GstBuffer* buffer, bool isPulled);
  bool _noteTime(GstBuffer* buffer);

  GstSegment _segment;
  std::uint64_t _nextOffset = 0;
  std::optional<double> _origin;
};

}  // namespace box
