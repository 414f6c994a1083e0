#include "media/pipeline/FrameConverter.h"

#include <utility>

#include "media/pipeline/PictureMemory.h"

namespace media {

bool FrameConverter::isDrawable(GstVideoFormat format) {
  return format == GST_VIDEO_FORMAT_NV12 || format == GST_VIDEO_FORMAT_I420;
}

GstRef<GstSample> FrameConverter::drawable(GstRef<GstSample> sample) {
  GstCaps* caps = gst_sample_get_caps(sample.get());
  GstBuffer* buffer = gst_sample_get_buffer(sample.get());
  GstVideoInfo info;
  if (!caps || !buffer || !gst_video_info_from_caps(&info, caps)) return {};
  if (isDrawable(GST_VIDEO_INFO_FORMAT(&info))) return sample;
  if (!_prepare(info)) return {};

  const GstRef<GstBuffer> converted = _convert(buffer);
  if (!converted) return {};
  return GstRef<GstSample>(
      gst_sample_new(converted.get(), _caps.get(), gst_sample_get_segment(sample.get()), nullptr));
}

GstRef<GstBuffer> FrameConverter::_convert(GstBuffer* buffer) {
  GstBuffer* free = nullptr;
  if (gst_buffer_pool_acquire_buffer(_pool.get(), &free, nullptr) != GST_FLOW_OK) return {};
  GstRef<GstBuffer> converted(free);
  GstVideoFrame from;
  if (!gst_video_frame_map(&from, &_from, buffer, GST_MAP_READ)) return {};
  GstVideoFrame to;
  const bool writable = gst_video_frame_map(&to, &_to, converted.get(), GST_MAP_WRITE);
  if (writable) {
    gst_video_converter_frame(_converter.get(), &from, &to);
    gst_video_frame_unmap(&to);
  }
  gst_video_frame_unmap(&from);
  if (!writable) return {};
  gst_buffer_copy_into(converted.get(), buffer, GST_BUFFER_COPY_TIMESTAMPS, 0, G_MAXSIZE);
  return converted;
}

void FrameConverter::_closePool() {
  // Buffers of pictures that are still shown stay valid.
  if (_pool) gst_buffer_pool_set_active(_pool.get(), FALSE);
  _pool.reset();
}

bool FrameConverter::_prepare(const GstVideoInfo& from) {
  if (_converter && gst_video_info_is_equal(&from, &_from)) return true;
  _converter.reset();
  _closePool();
  _from = from;
  if (!gst_video_info_set_format(&_to, GST_VIDEO_FORMAT_I420,
                                 static_cast<guint>(GST_VIDEO_INFO_WIDTH(&from)),
                                 static_cast<guint>(GST_VIDEO_INFO_HEIGHT(&from))))
    return false;
  _to.par_n = from.par_n;
  _to.par_d = from.par_d;
  _to.fps_n = from.fps_n;
  _to.fps_d = from.fps_d;
  // Keep the colorimetry if it is drawable.
  if (GST_VIDEO_INFO_IS_YUV(&from)) _to.colorimetry = from.colorimetry;
  if (_to.colorimetry.matrix == GST_VIDEO_COLOR_MATRIX_BT2020)
    _to.colorimetry.matrix = GST_VIDEO_COLOR_MATRIX_BT709;
  _caps.reset(gst_video_info_to_caps(&_to));
  _converter.reset(gst_video_converter_new(&_from, &_to, nullptr));
  if (_caps) _pool = makePicturePool(_caps.get(), _to);
  return _converter != nullptr && _pool != nullptr;
}

}  // namespace media
