#pragma once

#include <memory>

#include <gst/gst.h>
#include <gst/video/video.h>

#include "media/output/VideoFrames.h"

namespace media {

/// A picture of GStreamer for the screen. It is mapped, and holds its buffer. Immutable.
///
/// Threads: any.
class MappedFrame final : public VideoFrame {
 public:
  /// Returns null if the sample has no picture in NV12 or I420 that can be mapped.
  static std::shared_ptr<const VideoFrame> make(GstSample* sample, int rotation,
                                                std::shared_ptr<const SubtitleCues> subtitles);
  MappedFrame() = default;
  ~MappedFrame() override;
  MappedFrame(const MappedFrame&) = delete;
  MappedFrame& operator=(const MappedFrame&) = delete;

 private:
  bool _map(GstSample* sample, int rotation);
  void _setPlanes();
  void _setTime(const GstSegment* segment, GstClockTime timestamp);

  GstVideoFrame _video{};
  bool _mapped = false;
};

}  // namespace media
