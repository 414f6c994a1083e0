#pragma once

#include <memory>

#include <gst/gst.h>
#include <gst/video/video.h>

#include "media/support/GstRef.h"

namespace media {

/// Converts pictures in rare formats (more than 8 bits, 4:2:2, RGB) to a drawable format. Drawable
/// pictures are passed through. This is not done by elements in the pipeline, because each of them
/// slows down caps negotiation and so the start of every item. Converted pictures are in shared
/// memory.
///
/// Threads: one at a time.
class FrameConverter {
 public:
  FrameConverter() = default;
  ~FrameConverter() { _closePool(); }
  FrameConverter(const FrameConverter&) = delete;
  FrameConverter& operator=(const FrameConverter&) = delete;

  /// Returns whether pictures in this format are passed through.
  static bool isDrawable(GstVideoFormat format);
  /// Returns null if the sample has no readable picture.
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
