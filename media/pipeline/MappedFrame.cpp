#include "media/pipeline/MappedFrame.h"

#include <utility>

#include "media/pipeline/PictureMemory.h"
#include "media/support/GstTime.h"

namespace media {
namespace {

/// Without a matrix in the caps, the size decides.
VideoMatrix matrixOf(const GstVideoInfo& info) {
  constexpr int kStandardRows = 576;
  switch (info.colorimetry.matrix) {
    case GST_VIDEO_COLOR_MATRIX_BT601:
    case GST_VIDEO_COLOR_MATRIX_FCC:
      return VideoMatrix::BT601;
    case GST_VIDEO_COLOR_MATRIX_UNKNOWN:
      return GST_VIDEO_INFO_HEIGHT(&info) <= kStandardRows ? VideoMatrix::BT601
                                                           : VideoMatrix::BT709;
    default:
      return VideoMatrix::BT709;
  }
}

}  // namespace

std::shared_ptr<const VideoFrame> MappedFrame::make(GstSample* sample, int rotation,
                                                    std::shared_ptr<const SubtitleCues> subtitles) {
  auto frame = std::make_shared<MappedFrame>();
  frame->subtitles = std::move(subtitles);
  return frame->_map(sample, rotation) ? frame : nullptr;
}

MappedFrame::~MappedFrame() {
  if (_mapped) gst_video_frame_unmap(&_video);
}

bool MappedFrame::_map(GstSample* sample, int rotation) {
  GstCaps* caps = gst_sample_get_caps(sample);
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  GstVideoInfo info;
  if (!caps || !buffer || !gst_video_info_from_caps(&info, caps)) return false;
  switch (GST_VIDEO_INFO_FORMAT(&info)) {
    case GST_VIDEO_FORMAT_NV12:
      format = VideoFormat::NV12;
      break;
    case GST_VIDEO_FORMAT_I420:
      format = VideoFormat::I420;
      break;
    default:
      return false;
  }
  // The mapping holds a reference to the buffer.
  if (!gst_video_frame_map(&_video, &info, buffer, GST_MAP_READ)) return false;
  _mapped = true;
  width = GST_VIDEO_INFO_WIDTH(&info);
  height = GST_VIDEO_INFO_HEIGHT(&info);
  pixelAspectNumerator = GST_VIDEO_INFO_PAR_N(&info);
  pixelAspectDenominator = GST_VIDEO_INFO_PAR_D(&info);
  rotationDegrees = rotation;
  matrix = matrixOf(info);
  fullRange = info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
  _setPlanes();
  sharedMemory = sharedMemoryOf(buffer);
  _setTime(gst_sample_get_segment(sample), GST_BUFFER_PTS(buffer));
  return true;
}

void MappedFrame::_setPlanes() {
  planeCount = GST_VIDEO_FRAME_N_PLANES(&_video);
  for (std::size_t index = 0; index < planeCount; ++index) {
    const auto plane = static_cast<guint>(index);
    // The second plane of NV12 has two components; COMP_WIDTH is the width of one.
    const int columns = GST_VIDEO_FRAME_COMP_WIDTH(&_video, plane);
    const int pixelBytes = GST_VIDEO_FRAME_COMP_PSTRIDE(&_video, plane);
    planes[index] = {
        .data = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&_video, plane)),
        .stride = static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&_video, plane)),
        .rowBytes = static_cast<std::size_t>(columns) * static_cast<std::size_t>(pixelBytes),
        .rows = static_cast<std::size_t>(GST_VIDEO_FRAME_COMP_HEIGHT(&_video, plane)),
    };
  }
}

void MappedFrame::_setTime(const GstSegment* segment, GstClockTime timestamp) {
  if (!segment || !GST_CLOCK_TIME_IS_VALID(timestamp)) return;
  const guint64 streamTime = gst_segment_to_stream_time(segment, GST_FORMAT_TIME, timestamp);
  if (streamTime != GST_CLOCK_TIME_NONE) time = secondsOf(streamTime);
  const guint64 runningTime = gst_segment_to_running_time(segment, GST_FORMAT_TIME, timestamp);
  if (runningTime != GST_CLOCK_TIME_NONE) due = secondsOf(runningTime);
}

}  // namespace media
