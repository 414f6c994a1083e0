#pragma once

#include <memory>
#include <optional>

#include <gst/gst.h>
#include <gst/video/video.h>

#include "media/color/ColorMapper.h"
#include "media/support/GstRef.h"

namespace media {

/// Converts pictures that the screen cannot draw as they are: formats with more than 8 bits, 4:2:2,
/// 4:4:4 and RGB, and colors of a high dynamic range or of BT.2020, which are mapped to BT.709.
/// Other pictures are passed through. This is not done by elements in the pipeline, because each of
/// them slows down caps negotiation and so the start of every item. Converted pictures are in
/// shared memory.
///
/// Threads: one at a time.
class FrameConverter {
 public:
  FrameConverter() = default;
  ~FrameConverter() { _closePool(); }
  FrameConverter(const FrameConverter&) = delete;
  FrameConverter& operator=(const FrameConverter&) = delete;

  /// Returns whether the screen can draw this format.
  static bool isDrawable(GstVideoFormat format);
  /// Returns null if the sample has no readable picture.
  GstRef<GstSample> drawable(GstRef<GstSample> sample);

 private:
  struct Release {
    void operator()(GstVideoConverter* converter) const { gst_video_converter_free(converter); }
  };

  bool _prepare(const GstVideoInfo& from, const std::optional<PictureColors>& colors);
  bool _prepareMapping(const PictureColors& colors);
  GstRef<GstBuffer> _convert(GstBuffer* buffer);
  void _convertFrame(GstVideoFrame& from, GstVideoFrame& to);
  void _map(const GstVideoFrame& from, GstVideoFrame& to);
  void _closePool();

  GstVideoInfo _from{};
  std::optional<PictureColors> _colors;  // if they are mapped
  GstVideoInfo _to{};
  GstRef<GstCaps> _caps;
  GstRef<GstBufferPool> _pool;
  /// Without it, the mapper or libyuv reads the picture directly.
  std::unique_ptr<GstVideoConverter, Release> _converter;
  /// Holds the result of `_converter` for the mapper.
  GstRef<GstBuffer> _between;
  GstVideoInfo _betweenInfo{};
  std::unique_ptr<ColorMapper> _mapper;
};

}  // namespace media
