#pragma once

#include <memory>

#include <gst/gst.h>
#include <gst/video/video.h>

#include "media/support/GstRef.h"

namespace media {

/// Brings pictures of a rare format (more than eight bits, 4:2:2, RGB) to one that is drawn. Others
/// go through as they are. Done here and not by elements of the pipeline, since each of those takes
/// part in every negotiation of formats, which makes the start of every item slower. What it makes
/// lies in memory that another process can map.
///
/// Threads: one at a time.
class FrameConverter {
 public:
  FrameConverter() = default;
  ~FrameConverter() { _closePool(); }
  FrameConverter(const FrameConverter&) = delete;
  FrameConverter& operator=(const FrameConverter&) = delete;

  /// Whether pictures of this format are drawn as they are.
  static bool isDrawable(GstVideoFormat format);
  /// Null when the sample holds no picture that can be read.
  GstRef<GstSample> drawable(GstRef<GstSample> sample);

 private:
  struct Release {
    void operator()(GstVideoConverter* converter) const { gst_video_converter_free(converter); }
  };

  bool _prepare(const GstVideoInfo& from);
  GstRef<GstBuffer> _convert(GstBuffer* buffer);
  void _closePool();

  std::unique_ptr<GstVideoConverter, Release> _converter;
  GstVideoInfo _from{};
  GstVideoInfo _to{};
  GstRef<GstCaps> _caps;
  GstRef<GstBufferPool> _pool;
};

}  // namespace media
