#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include <gst/gst.h>

namespace media {

/// Listens at the input of one demuxer, whether that is fed or reads by itself.
///
/// Threads: made on any; works on the demuxer's streaming thread, and goes with its pad.
class DemuxerTap {
 public:
  using Bytes = std::span<const std::uint8_t>;

  DemuxerTap() = default;
  virtual ~DemuxerTap() = default;
  DemuxerTap(const DemuxerTap&) = delete;
  DemuxerTap& operator=(const DemuxerTap&) = delete;

  /// From now on, until the pad goes.
  static void attach(std::unique_ptr<DemuxerTap> tap, GstPad* sink);

 protected:
  virtual void feed(std::uint64_t offset, Bytes bytes) = 0;
  /// Bytes of another place follow.
  virtual void restart() = 0;
  /// Of a demuxer that reads by itself: where and when it likes, and things more than once.
  virtual void feedPulled(GstPad* sink, std::uint64_t offset, Bytes bytes);

 private:
  static GstPadProbeReturn _onData(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _take(GstPad* pad, GstBuffer* buffer, bool isPulled);

  std::uint64_t _nextOffset = 0;
};

}  // namespace media
