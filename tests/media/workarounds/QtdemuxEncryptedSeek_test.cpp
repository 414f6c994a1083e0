#include <map>
#include <string>
#include <utility>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using media::GstRef;

/// The initialisation vectors of samples by their time; "none" if a sample has none.
using Vectors = std::map<GstClockTime, std::string>;

std::string vectorOf(GstBuffer* sample) {
  const GstProtectionMeta* const meta = gst_buffer_get_protection_meta(sample);
  const GValue* const value = meta ? gst_structure_get_value(meta->info, "iv") : nullptr;
  if (!value) return "none";
  GstBuffer* const buffer = gst_value_get_buffer(value);
  std::string bytes(gst_buffer_get_size(buffer), '\0');
  gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
  return bytes;
}

GstPadProbeReturn note(GstPad*, GstPadProbeInfo* info, gpointer vectors) {
  GstBuffer* const sample = GST_PAD_PROBE_INFO_BUFFER(info);
  (*static_cast<Vectors*>(vectors))[GST_BUFFER_PTS(sample)] = vectorOf(sample);
  return GST_PAD_PROBE_OK;
}

bool reachesEnd(GstElement* pipeline) {
  const GstRef<GstBus> bus(gst_element_get_bus(pipeline));
  const auto wanted = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
  const GstRef<GstMessage> message(gst_bus_timed_pop_filtered(bus.get(), 60 * GST_SECOND, wanted));
  return message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS;
}

TEST(QtdemuxEncryptedSeek, VectorsAreLostAfterASeekBackInTheVersionsOfTheTable) {
  media::warmUpMedia();
  const std::string url = TestMedia::shared().fileURL("encrypted.mp4");
  const std::string path = url.substr(std::string("file://").size());
  const GstRef<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(gst_parse_launch(
      ("filesrc location=" + path + " ! qtdemux ! fakesink name=sink sync=false").c_str(),
      nullptr))));
  const GstRef<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
  const GstRef<GstPad> pad(gst_element_get_static_pad(sink.get(), "sink"));
  Vectors vectors;
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, note, &vectors, nullptr);

  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  ASSERT_TRUE(reachesEnd(pipeline.get()));
  const Vectors first = std::exchange(vectors, {});
  EXPECT_GT(first.size(), 70U);
  for (const auto& [time, vector] : first) EXPECT_EQ(vector.size(), 8U) << time;

  const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
  ASSERT_TRUE(gst_element_seek_simple(pipeline.get(), GST_FORMAT_TIME, flags, 0));
  ASSERT_TRUE(reachesEnd(pipeline.get()));
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  EXPECT_EQ(vectors != first, media::Workarounds::shared().isNeeded("QtdemuxEncryptedSeek"));
}

}  // namespace
}  // namespace testing_media
