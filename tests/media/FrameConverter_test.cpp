#include "media/pipeline/FrameConverter.h"

#include <string>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "media/pipeline/PictureMemory.h"

namespace media {
namespace {

constexpr guint kWidth = 34;
constexpr guint kHeight = 18;
constexpr GstClockTime kTime = 5 * GST_SECOND;

/// Returns a picture that is filled with one byte.
GstRef<GstSample> sampleOf(GstVideoFormat format, guint8 byte, const char* colorimetry = nullptr) {
  GstVideoInfo info;
  gst_video_info_set_format(&info, format, kWidth, kHeight);
  info.fps_n = 25;
  if (colorimetry) gst_video_colorimetry_from_string(&info.colorimetry, colorimetry);
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
  gst_buffer_memset(buffer, 0, byte, GST_VIDEO_INFO_SIZE(&info));
  GST_BUFFER_PTS(buffer) = kTime;
  const GstRef<GstCaps> caps(gst_video_info_to_caps(&info));
  GstRef<GstSample> sample(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
  gst_buffer_unref(buffer);
  return sample;
}

TEST(FrameConverter, PassesDrawablePicturesThroughAndConvertsOthers) {
  gst_init(nullptr, nullptr);
  FrameConverter converter;
  struct Case {
    GstVideoFormat format;
    guint8 byte;
    bool same;
    int luma;  // luma of the result
  };
  // The same converter for all cases: it has to handle changes of the format.
  const Case cases[] = {
      {GST_VIDEO_FORMAT_I420, 90, true, 90},
      {GST_VIDEO_FORMAT_NV12, 90, true, 90},
      {GST_VIDEO_FORMAT_Y42B, 90, false, 90},
      {GST_VIDEO_FORMAT_Y444, 200, false, 200},
      {GST_VIDEO_FORMAT_BGRx, 255, false, 235},
      {GST_VIDEO_FORMAT_BGRx, 0, false, 16},
      // 0x0101 of 1023.
      {GST_VIDEO_FORMAT_I420_10LE, 1, false, 64},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(gst_video_format_to_string(each.format));
    GstRef<GstSample> sample = sampleOf(each.format, each.byte);
    const GstSample* const given = sample.get();
    const GstRef<GstSample> result = converter.drawable(std::move(sample));
    ASSERT_TRUE(result);
    EXPECT_EQ(result.get() == given, each.same);
    GstVideoInfo info;
    ASSERT_TRUE(gst_video_info_from_caps(&info, gst_sample_get_caps(result.get())));
    EXPECT_TRUE(FrameConverter::isDrawable(GST_VIDEO_INFO_FORMAT(&info)));
    GstBuffer* buffer = gst_sample_get_buffer(result.get());
    EXPECT_EQ(GST_BUFFER_PTS(buffer), kTime);
    EXPECT_EQ(sharedMemoryOf(buffer) != nullptr, !each.same) << "in shared memory";
    GstVideoFrame frame;
    ASSERT_TRUE(gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ));
    EXPECT_EQ(GST_VIDEO_FRAME_WIDTH(&frame), static_cast<gint>(kWidth));
    EXPECT_EQ(GST_VIDEO_FRAME_HEIGHT(&frame), static_cast<gint>(kHeight));
    const auto* row = static_cast<const guint8*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0));
    EXPECT_NEAR(row[kWidth / 2], each.luma, 2);
    gst_video_frame_unmap(&frame);
  }
}

TEST(FrameConverter, MapsGrayOfAHighDynamicRangeInEachFormat) {
  gst_init(nullptr, nullptr);
  FrameConverter converter;
  struct Case {
    GstVideoFormat format;
    guint8 byte;
    const char* colorimetry;
    int luma;
  };
  // All codes are 50 to 51 percent of the range: 93 to 105 cd/m² in PQ, a twelfth of the scene
  // light in HLG.
  const Case cases[] = {
      {GST_VIDEO_FORMAT_I420, 128, GST_VIDEO_COLORIMETRY_BT2100_PQ, 181},
      {GST_VIDEO_FORMAT_NV12, 128, GST_VIDEO_COLORIMETRY_BT2100_PQ, 181},
      {GST_VIDEO_FORMAT_I420_10LE, 2, GST_VIDEO_COLORIMETRY_BT2100_PQ, 182},
      {GST_VIDEO_FORMAT_P010_10LE, 128, GST_VIDEO_COLORIMETRY_BT2100_PQ, 182},
      {GST_VIDEO_FORMAT_I422_10LE, 2, GST_VIDEO_COLORIMETRY_BT2100_PQ, 182},
      {GST_VIDEO_FORMAT_Y444_10LE, 2, GST_VIDEO_COLORIMETRY_BT2100_PQ, 182},
      {GST_VIDEO_FORMAT_P010_10LE, 128, GST_VIDEO_COLORIMETRY_BT2100_HLG, 143},
      // Full range, RGB, BT.2020 with 10 bits.
      {GST_VIDEO_FORMAT_BGRx, 130, "1:1:13:7", 128},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(std::string(gst_video_format_to_string(each.format)) + " " + each.colorimetry);
    const auto result = converter.drawable(sampleOf(each.format, each.byte, each.colorimetry));
    ASSERT_TRUE(result);
    GstVideoInfo info;
    ASSERT_TRUE(gst_video_info_from_caps(&info, gst_sample_get_caps(result.get())));
    EXPECT_TRUE(gst_video_colorimetry_matches(&info.colorimetry, GST_VIDEO_COLORIMETRY_BT709));
    GstVideoFrame frame;
    ASSERT_TRUE(
        gst_video_frame_map(&frame, &info, gst_sample_get_buffer(result.get()), GST_MAP_READ));
    const auto at = [&](guint plane, std::size_t x) {
      return static_cast<const guint8*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, plane))[x];
    };
    EXPECT_NEAR(at(0, 0), each.luma, 2);
    EXPECT_NEAR(at(0, kWidth - 1), each.luma, 2);
    EXPECT_NEAR(at(1, kWidth / 2 - 1), 128, 2);
    EXPECT_NEAR(at(2, kWidth / 2 - 1), 128, 2);
    gst_video_frame_unmap(&frame);
  }
}

TEST(PictureMemory, IsReusedWhileThereIsAUser) {
  gst_init(nullptr, nullptr);
  const auto make = [] {
    const GstRef<GstBuffer> buffer(gst_buffer_new_allocate(pictureAllocator(), 5000, nullptr));
    return sharedMemoryOf(buffer.get());
  };
  auto first = make();
  const auto lifetime = first->lifetime();
  {
    const PictureMemoryUse use;
    first.reset();
    EXPECT_FALSE(lifetime.expired());
    const auto second = make();
    EXPECT_NE(make(), second) << "the block is in use";
    EXPECT_FALSE(lifetime.owner_before(second->lifetime()) ||
                 second->lifetime().owner_before(lifetime));
    // The default allocator uses shared memory for pictures only.
    GstAllocationParams params;
    gst_allocation_params_init(&params);
    for (const auto& [align, bytes, isPicture] :
         {std::tuple{gsize{31}, gsize{100'000}, true}, {15, 100'000, false}, {31, 1000, false}}) {
      params.align = align;
      const GstRef<GstBuffer> buffer(gst_buffer_new_allocate(nullptr, bytes, &params));
      EXPECT_EQ(sharedMemoryOf(buffer.get()) != nullptr, isPicture) << align << " " << bytes;
    }
  }
  EXPECT_TRUE(lifetime.expired());
}

TEST(PictureMemory, SubBuffersAreInTheSameBlock) {
  gst_init(nullptr, nullptr);
  GstAllocationParams params;
  gst_allocation_params_init(&params);
  params.align = 31;
  params.prefix = 64;
  params.padding = 32;
  const GstRef<GstBuffer> whole(gst_buffer_new_allocate(pictureAllocator(), 1000, &params));
  const auto memory = sharedMemoryOf(whole.get());
  ASSERT_TRUE(memory);
  EXPECT_EQ(memory->size(), 1096u);
  gst_buffer_memset(whole.get(), 0, 7, 1000);
  gst_buffer_memset(whole.get(), 500, 9, 1);
  EXPECT_EQ(memory->data()[63], 0);
  EXPECT_EQ(memory->data()[64], 7);
  EXPECT_EQ(memory->data()[64 + 999], 7);

  GstRef<GstBuffer> part(gst_buffer_copy_region(whole.get(), GST_BUFFER_COPY_MEMORY, 500, 10));
  EXPECT_EQ(sharedMemoryOf(part.get()), memory) << "the same block";
  guint8 bytes[2] = {};
  EXPECT_EQ(gst_buffer_extract(part.get(), 0, bytes, 2), 2u);
  EXPECT_EQ(bytes[0], 9);
  EXPECT_EQ(bytes[1], 7);
  gst_buffer_append_memory(part.get(), gst_allocator_alloc(nullptr, 10, nullptr));
  EXPECT_FALSE(sharedMemoryOf(part.get()));
}

TEST(FrameConverter, ReturnsNullWithoutAPicture) {
  gst_init(nullptr, nullptr);
  FrameConverter converter;
  const GstRef<GstCaps> caps(gst_caps_new_empty_simple("audio/x-raw"));
  EXPECT_FALSE(
      converter.drawable(GstRef<GstSample>(gst_sample_new(nullptr, caps.get(), nullptr, nullptr))));
}

}  // namespace
}  // namespace media
