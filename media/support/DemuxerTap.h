#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include <gst/gst.h>

namespace media {

/// Reads the data at the sink pad of a demuxer, in push and in pull mode.
///
/// Threads: created on any thread; called on the streaming thread. The pad owns it.
class DemuxerTap {
 public:
  using Bytes = std::span<const std::uint8_t>;

  DemuxerTap() = default;
  virtual ~DemuxerTap() = default;
  DemuxerTap(const DemuxerTap&) = delete;
  DemuxerTap& operator=(const DemuxerTap&) = delete;

  /// Adds a probe to `sink`, which owns `tap` from then on.
  static void attach(std::unique_ptr<DemuxerTap> tap, GstPad* sink);

 protected:
  virtual void feed(std::uint64_t offset, Bytes bytes) = 0;
  /// Called before bytes from another position.
  virtual void restart() = 0;
  /// Called in pull mode. A demuxer may read at any position and read bytes twice.
  virtual void feedPulled(GstPad* sink, std::uint64_t offset, Bytes bytes);

 private:
  static GstPadProbeReturn _onData(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _take(GstPad* pad, GstBuffer* buffer, bool isPulled);

  std::uint64_t _nextOffset = 0;
};

}  // namespace media
