// The decoder for H.264 on libavcodec, compared with the one of gst-libav.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using media::GstRef;

struct DecodedPicture {
  GstClockTime time = 0;
  std::string description;  // format, fields and a checksum
};

/// FNV-1a.
std::uint64_t checksumOf(const GstVideoFrame& frame) {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (guint part = 0; part < GST_VIDEO_FRAME_N_COMPONENTS(&frame); ++part) {
    const auto* row = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, part));
    const int bytes =
        GST_VIDEO_FRAME_COMP_WIDTH(&frame, part) * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, part);
    for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, part); ++y) {
      for (int x = 0; x < bytes; ++x) sum = (sum ^ row[x]) * 0x100000001b3;
      row += GST_VIDEO_FRAME_COMP_STRIDE(&frame, part);
    }
  }
  return sum;
}

DecodedPicture pictureOf(GstSample* sample) {
  GstVideoInfo info;
  GstVideoFrame frame;
  GstBuffer* const buffer = gst_sample_get_buffer(sample);
  if (!gst_video_info_from_caps(&info, gst_sample_get_caps(sample)) ||
      !gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ))
    return {};
  const GstRef<gchar> colors(gst_video_colorimetry_to_string(&info.colorimetry));
  constexpr guint kFields = GST_VIDEO_BUFFER_FLAG_INTERLACED | GST_VIDEO_BUFFER_FLAG_TFF;
  const std::string description =
      std::string(gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info))) + ' ' +
      std::to_string(info.width) + 'x' + std::to_string(info.height) + ' ' +
      std::to_string(info.par_n) + ':' + std::to_string(info.par_d) + ' ' +
      (GST_VIDEO_INFO_IS_INTERLACED(&info) ? "fields " : "frames ") +
      (colors ? colors.get() : "no colors") + ' ' +
      std::to_string(GST_BUFFER_FLAGS(buffer) & kFields) + ' ' + std::to_string(checksumOf(frame));
  gst_video_frame_unmap(&frame);
  return {GST_BUFFER_PTS(buffer), description};
}

/// Drops packets until the second key frame.
GstPadProbeReturn dropFirstGroup(GstPad*, GstPadProbeInfo* info, gpointer keyFrames) {
  int& count = *static_cast<int*>(keyFrames);
  if (!GST_BUFFER_FLAG_IS_SET(GST_PAD_PROBE_INFO_BUFFER(info), GST_BUFFER_FLAG_DELTA_UNIT)) ++count;
  return count < 2 ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

std::vector<DecodedPicture> decode(const std::string& path, const std::string& decoder,
                                   bool dropsFirstGroup = false) {
  int keyFrames = 0;
  const GstRef<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(
      gst_parse_launch(("filesrc location=\"" + path + "\" ! qtdemux ! h264parse name=parser ! " +
                        decoder + " ! appsink name=sink sync=false")
                           .c_str(),
                       nullptr))));
  const GstRef<GstElement> parser(gst_bin_get_by_name(GST_BIN(pipeline.get()), "parser"));
  const GstRef<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
  const GstRef<GstPad> parsed(gst_element_get_static_pad(parser.get(), "src"));
  if (dropsFirstGroup)
    gst_pad_add_probe(parsed.get(), GST_PAD_PROBE_TYPE_BUFFER, dropFirstGroup, &keyFrames, nullptr);
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  std::vector<DecodedPicture> pictures;
  constexpr GstClockTime kPatience = 30 * GST_SECOND;
  while (const GstRef<GstSample> sample{
      gst_app_sink_try_pull_sample(GST_APP_SINK(sink.get()), kPatience)})
    pictures.push_back(pictureOf(sample.get()));
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  return pictures;
}

std::string made(const std::string& name, const std::string& options) {
  media::warmUpMedia();
  TestMedia::shared().url(name, "-map 0 -c:v libx264 " + options);
  return TestMedia::shared().path(name);
}

TEST(LibavH264Decoder, DecodesLikeGStreamers) {
  const struct {
    const char* name;
    const char* options;
  } cases[] = {
      {"plain", "-pix_fmt yuv420p -bf 3"},
      {"fields", "-pix_fmt yuv420p -flags +ilme+ildct -vf setfield=tff"},
      {"cropped", "-pix_fmt yuv420p -vf scale=318:178"},
      {"anamorphic", "-pix_fmt yuv420p -vf setsar=4/3"},
      {"deep", "-pix_fmt yuv420p10le"},
      {"bt709", "-pix_fmt yuv420p -colorspace bt709 -color_primaries bt709 -color_trc bt709"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    const std::string path = made(std::string("decoder_") + each.name + ".mp4", each.options);
    const auto expected = decode(path, "avdec_h264");
    const auto pictures = decode(path, "vorlanelibavh264");
    EXPECT_EQ(pictures.size(), 75U);
    ASSERT_EQ(pictures.size(), expected.size());
    for (std::size_t index = 0; index < pictures.size(); ++index) {
      EXPECT_EQ(pictures[index].time, expected[index].time);
      ASSERT_EQ(pictures[index].description, expected[index].description) << index;
    }
  }
}

TEST(LibavH264Decoder, BeginsAtARecoveryPoint) {
  const std::string path =
      made("decoder_open.mp4", "-pix_fmt yuv420p -x264-params keyint=25:open-gop=1:ref=4");
  const auto all = decode(path, "vorlanelibavh264");
  const auto part = decode(path, "vorlanelibavh264", true);
  ASSERT_GT(part.size(), 40U);
  ASSERT_LT(part.size(), all.size());
  // Pictures before the recovery point refer to dropped ones.
  constexpr std::size_t kComplete = 40;
  for (std::size_t left = 1; left <= kComplete; ++left) {
    EXPECT_EQ(part[part.size() - left].time, all[all.size() - left].time);
    EXPECT_EQ(part[part.size() - left].description, all[all.size() - left].description);
  }
}

}  // namespace
}  // namespace testing_media
