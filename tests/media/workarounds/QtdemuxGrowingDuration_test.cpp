#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

TEST(QtdemuxGrowingDuration, LengthOfTheLastFragmentIsPosted) {
  media::warmUpMedia();
  TestMedia::shared().url("fragments_20s.mp4");
  const media::GstRef<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new({}))));
  media::Workarounds::shared().installForPipeline(pipeline.get());
  GstElement* const media = gst_parse_bin_from_description(
      ("filesrc location=" + TestMedia::shared().path("fragments_20s.mp4") +
       " ! qtdemux name=d  d.video_0 ! queue ! fakesink  d.audio_0 ! queue ! fakesink")
          .c_str(),
      FALSE, nullptr);
  ASSERT_TRUE(media);
  gst_bin_add(GST_BIN(pipeline.get()), media);
  const auto duration = [&] {
    gint64 result = -1;
    gst_element_query_duration(pipeline.get(), GST_FORMAT_TIME, &result);
    return static_cast<double>(result) / GST_SECOND;
  };
  const media::GstRef<GstBus> bus(gst_element_get_bus(pipeline.get()));
  const auto next = [&](GstMessageType type) {
    const media::GstRef<GstMessage> message(gst_bus_timed_pop_filtered(
        bus.get(), 60 * GST_SECOND,
        static_cast<GstMessageType>(type | GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    return message ? GST_MESSAGE_TYPE(message.get()) : GST_MESSAGE_UNKNOWN;
  };
  gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
  ASSERT_EQ(next(GST_MESSAGE_ASYNC_DONE), GST_MESSAGE_ASYNC_DONE);
  EXPECT_LT(duration(), 19.5) << "the index has the start of the last one";
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  EXPECT_EQ(next(GST_MESSAGE_DURATION_CHANGED), GST_MESSAGE_DURATION_CHANGED);
  EXPECT_NEAR(duration(), 20, 0.15);
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

}  // namespace
}  // namespace testing_media
