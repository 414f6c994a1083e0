#include "media/pipeline/FrameConverter.h"

#include <utility>

#include <libyuv/convert.h>

#include "media/pipeline/PictureMemory.h"

namespace media {
namespace {

constexpr double kMasteringUnit = 1e-4;  // cd/m²

std::optional<ColorMapper::Layout> mappableLayout(GstVideoFormat format) {
  switch (format) {
    case GST_VIDEO_FORMAT_I420:
      return ColorMapper::Layout::I420;
    case GST_VIDEO_FORMAT_NV12:
      return ColorMapper::Layout::NV12;
    case GST_VIDEO_FORMAT_I420_10LE:
      return ColorMapper::Layout::I42010;
    case GST_VIDEO_FORMAT_P010_10LE:
      return ColorMapper::Layout::P010;
    default:
      return std::nullopt;
  }
}

void readLuminance(GstCaps* caps, PictureColors& colors) {
  GstVideoMasteringDisplayInfo mastering;
  if (gst_video_mastering_display_info_from_caps(&mastering, caps)) {
    if (mastering.max_display_mastering_luminance > 0)
      colors.peak = mastering.max_display_mastering_luminance * kMasteringUnit;
    colors.black = mastering.min_display_mastering_luminance * kMasteringUnit;
  }
  GstVideoContentLightLevel level;
  if (gst_video_content_light_level_from_caps(&level, caps) && level.max_content_light_level > 0)
    colors.peak = level.max_content_light_level;
}

/// Returns the colors of pictures that have to be mapped. Missing values of the caps are those of
/// BT.2020.
std::optional<PictureColors> colorsToMap(const GstVideoInfo& info, GstCaps* caps) {
  const GstVideoColorimetry& given = info.colorimetry;
  PictureColors colors;
  switch (given.transfer) {
    case GST_VIDEO_TRANSFER_SMPTE2084:
      colors.transfer = TransferFunction::PQ;
      readLuminance(caps, colors);
      break;
    case GST_VIDEO_TRANSFER_ARIB_STD_B67:
      colors.transfer = TransferFunction::HLG;
      break;
    default:
      if (given.matrix != GST_VIDEO_COLOR_MATRIX_BT2020 &&
          given.primaries != GST_VIDEO_COLOR_PRIMARIES_BT2020)
        return std::nullopt;
      colors.transfer = TransferFunction::BT1886;
  }
  if (given.primaries != GST_VIDEO_COLOR_PRIMARIES_UNKNOWN) {
    if (const auto* primaries = gst_video_color_primaries_get_info(given.primaries))
      colors.primaries = {{primaries->Rx, primaries->Ry},
                          {primaries->Gx, primaries->Gy},
                          {primaries->Bx, primaries->By},
                          {primaries->Wx, primaries->Wy}};
  }
  // Leaves the coefficients of BT.2020 if there are no others.
  gst_video_color_matrix_get_Kr_Kb(given.matrix, &colors.lumaRed, &colors.lumaBlue);
  colors.fullRange = GST_VIDEO_INFO_IS_YUV(&info) && given.range == GST_VIDEO_COLOR_RANGE_0_255;
  return colors;
}

/// Sets a format for pictures of the size of `like`. The converter needs the same frame rate, too.
bool setFormat(GstVideoInfo& info, GstVideoFormat format, const GstVideoInfo& like) {
  if (!gst_video_info_set_format(&info, format, static_cast<guint>(GST_VIDEO_INFO_WIDTH(&like)),
                                 static_cast<guint>(GST_VIDEO_INFO_HEIGHT(&like))))
    return false;
  info.par_n = like.par_n;
  info.par_d = like.par_d;
  info.fps_n = like.fps_n;
  info.fps_d = like.fps_d;
  return true;
}

bool isReadByLibyuv(GstVideoFormat format) {
  return format == GST_VIDEO_FORMAT_I420_10LE || format == GST_VIDEO_FORMAT_I422_10LE ||
         format == GST_VIDEO_FORMAT_Y444_10LE;
}

/// For formats of isReadByLibyuv().
void reduceBits(const GstVideoFrame& from, GstVideoFrame& to) {
  const auto convert =
      GST_VIDEO_FRAME_FORMAT(&from) == GST_VIDEO_FORMAT_I420_10LE   ? libyuv::I010ToI420
      : GST_VIDEO_FRAME_FORMAT(&from) == GST_VIDEO_FORMAT_I422_10LE ? libyuv::I210ToI420
                                                                    : libyuv::I410ToI420;
  const auto data = [&](std::size_t plane) {
    return static_cast<const std::uint16_t*>(from.data[plane]);
  };
  const auto stride = [&](std::size_t plane) { return from.info.stride[plane] / 2; };
  const auto shown = [&](std::size_t plane) { return static_cast<std::uint8_t*>(to.data[plane]); };
  convert(data(0), stride(0), data(1), stride(1), data(2), stride(2), shown(0), to.info.stride[0],
          shown(1), to.info.stride[1], shown(2), to.info.stride[2], GST_VIDEO_FRAME_WIDTH(&from),
          GST_VIDEO_FRAME_HEIGHT(&from));
}

}  // namespace

bool FrameConverter::isDrawable(GstVideoFormat format) {
  return format == GST_VIDEO_FORMAT_NV12 || format == GST_VIDEO_FORMAT_I420;
}

GstRef<GstSample> FrameConverter::drawable(GstRef<GstSample> sample) {
  GstCaps* caps = gst_sample_get_caps(sample.get());
  GstBuffer* buffer = gst_sample_get_buffer(sample.get());
  GstVideoInfo info;
  if (!caps || !buffer || !gst_video_info_from_caps(&info, caps)) return {};
  const auto colors = colorsToMap(info, caps);
  if (isDrawable(GST_VIDEO_INFO_FORMAT(&info)) && !colors) return sample;
  if (!_prepare(info, colors)) return {};

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
    _convertFrame(from, to);
    gst_video_frame_unmap(&to);
  }
  gst_video_frame_unmap(&from);
  if (!writable) return {};
  gst_buffer_copy_into(converted.get(), buffer, GST_BUFFER_COPY_TIMESTAMPS, 0, G_MAXSIZE);
  return converted;
}

void FrameConverter::_convertFrame(GstVideoFrame& from, GstVideoFrame& to) {
  if (!_mapper) {
    if (_converter)
      gst_video_converter_frame(_converter.get(), &from, &to);
    else
      reduceBits(from, to);
    return;
  }
  if (!_converter) return _map(from, to);
  GstVideoFrame between;
  if (!gst_video_frame_map(&between, &_betweenInfo, _between.get(), GST_MAP_READWRITE)) return;
  gst_video_converter_frame(_converter.get(), &from, &between);
  _map(between, to);
  gst_video_frame_unmap(&between);
}

void FrameConverter::_map(const GstVideoFrame& from, GstVideoFrame& to) {
  ColorMapper::Source source;
  ColorMapper::Target target;
  source.layout = *mappableLayout(GST_VIDEO_FRAME_FORMAT(&from));
  source.width = static_cast<std::size_t>(GST_VIDEO_FRAME_WIDTH(&from));
  source.height = static_cast<std::size_t>(GST_VIDEO_FRAME_HEIGHT(&from));
  for (std::size_t plane = 0; plane < GST_VIDEO_FRAME_N_PLANES(&from); ++plane) {
    source.planes[plane] = static_cast<const std::uint8_t*>(from.data[plane]);
    source.strides[plane] = static_cast<std::size_t>(from.info.stride[plane]);
  }
  for (std::size_t plane = 0; plane < GST_VIDEO_FRAME_N_PLANES(&to); ++plane) {
    target.planes[plane] = static_cast<std::uint8_t*>(to.data[plane]);
    target.strides[plane] = static_cast<std::size_t>(to.info.stride[plane]);
  }
  _mapper->convert(source, target);
}

void FrameConverter::_closePool() {
  // Buffers of pictures that are still shown stay valid.
  if (_pool) gst_buffer_pool_set_active(_pool.get(), FALSE);
  _pool.reset();
}

bool FrameConverter::_prepare(const GstVideoInfo& from,
                              const std::optional<PictureColors>& colors) {
  if (_pool && gst_video_info_is_equal(&from, &_from) && colors == _colors) return true;
  _converter.reset();
  if (colors != _colors) _mapper.reset();
  _closePool();
  _from = from;
  _colors = colors;
  if (!setFormat(_to, GST_VIDEO_FORMAT_I420, from)) return false;
  if (colors) {
    gst_video_colorimetry_from_string(&_to.colorimetry, GST_VIDEO_COLORIMETRY_BT709);
    if (!_prepareMapping(*colors)) return false;
  } else {
    if (GST_VIDEO_INFO_IS_YUV(&from)) _to.colorimetry = from.colorimetry;
    if (!isReadByLibyuv(GST_VIDEO_INFO_FORMAT(&from))) {
      _converter.reset(gst_video_converter_new(&_from, &_to, nullptr));
      if (!_converter) return false;
    }
  }
  _caps.reset(gst_video_info_to_caps(&_to));
  if (_caps) _pool = makePicturePool(_caps.get(), _to);
  return _pool != nullptr;
}

bool FrameConverter::_prepareMapping(const PictureColors& colors) {
  if (!_mapper) _mapper = std::make_unique<ColorMapper>(colors);
  if (mappableLayout(GST_VIDEO_INFO_FORMAT(&_from))) return true;
  if (!setFormat(_betweenInfo, GST_VIDEO_FORMAT_I420_10LE, _from)) return false;
  _betweenInfo.colorimetry = _from.colorimetry;
  if (!GST_VIDEO_INFO_IS_YUV(&_from)) {
    _betweenInfo.colorimetry.range = GST_VIDEO_COLOR_RANGE_16_235;
    _betweenInfo.colorimetry.matrix = GST_VIDEO_COLOR_MATRIX_BT2020;
  }
  _between.reset(gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&_betweenInfo), nullptr));
  _converter.reset(gst_video_converter_new(&_from, &_betweenInfo, nullptr));
  return _between && _converter;
}

}  // namespace media
