#include "media/pipeline/VideoSink.h"

#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "platform/foundation/queues/Clock.h"

namespace media {
namespace {

TEST(VideoSink, ALatePictureDoesNotSetThePositionBack) {
  warmUpMedia();
  const platform::SystemClock clock;
  PositionClock position(clock);
  const auto frames = std::make_shared<VideoFrames>();
  VideoSink sink(frames, frames->open(), position, nullptr, nullptr, {});
  const GstRef<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
  GstElement* const source = gst_element_factory_make("videotestsrc", nullptr);
  g_object_set(source, "num-buffers", 1, nullptr);
  gst_bin_add_many(GST_BIN(pipeline.get()), source, sink.element(), nullptr);
  ASSERT_TRUE(gst_element_link(source, sink.element()));
  // The clock has run for two seconds when the picture of time 0 arrives.
  const GstRef<GstClock> pipelineClock(gst_system_clock_obtain());
  gst_pipeline_use_clock(GST_PIPELINE(pipeline.get()), pipelineClock.get());
  gst_element_set_start_time(pipeline.get(), GST_CLOCK_TIME_NONE);
  gst_element_set_base_time(pipeline.get(),
                            gst_clock_get_time(pipelineClock.get()) - 2 * GST_SECOND);
  position.run(2, 1, 0, 100);

  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  const GstRef<GstBus> bus(gst_element_get_bus(pipeline.get()));
  const GstRef<GstMessage> end(
      gst_bus_timed_pop_filtered(bus.get(), 20 * GST_SECOND,
                                 static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
  ASSERT_TRUE(end);
  EXPECT_EQ(GST_MESSAGE_TYPE(end.get()), GST_MESSAGE_EOS);
  const auto picture = frames->latest();
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->time, 0);
  EXPECT_GE(position.seconds(), 2);
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

}  // namespace
}  // namespace media
