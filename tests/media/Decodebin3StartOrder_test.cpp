#include <algorithm>
#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"

namespace media {
namespace {

using testing_media::TestMedia;

/// The lowest state of any decodebin3 when a source of the playbin was set up.
struct Observation {
  std::atomic<int> starts = 0;
  std::atomic<int> lowest = GST_STATE_PLAYING;

  static void onSourceSetup(GstElement* playbin, GstElement*, gpointer data) {
    auto& me = *static_cast<Observation*>(data);
    ++me.starts;
    GstIterator* const elements = gst_bin_iterate_recurse(GST_BIN(playbin));
    gst_iterator_foreach(
        elements,
        [](const GValue* value, gpointer self) {
          auto* const element = GST_ELEMENT(g_value_get_object(value));
          auto& least = static_cast<Observation*>(self)->lowest;
          if (isMadeBy(element, "decodebin3")) least = std::min<int>(least, GST_STATE(element));
        },
        data);
    gst_iterator_free(elements);
  }
};

// Whether a decodebin3 that is not ready loses data is a race. Whether it is ready is not.
TEST(Decodebin3StartOrder, NoSourceStartsBeforeItsDecodebinIsReady) {
  warmUpMedia();
  GstElement* const made = gst_element_factory_make("playbin3", nullptr);
  ASSERT_NE(made, nullptr);
  const GstRef<GstElement> playbin(GST_ELEMENT(gst_object_ref_sink(made)));
  g_object_set(made, "uri", TestMedia::shared().fileURL("clip.mp4").c_str(), "video-sink",
               gst_element_factory_make("fakesink", nullptr), "audio-sink",
               gst_element_factory_make("fakesink", nullptr), nullptr);
  Workarounds::shared().installForPlaybin(made);
  Observation observation;
  g_signal_connect(made, "source-setup", G_CALLBACK(Observation::onSourceSetup), &observation);
  // The second time as after a change of the audio device.
  for (int round = 1; round <= 2; ++round) {
    SCOPED_TRACE(round);
    gst_element_set_state(made, GST_STATE_PAUSED);
    EXPECT_EQ(gst_element_get_state(made, nullptr, nullptr, 10 * GST_SECOND),
              GST_STATE_CHANGE_SUCCESS);
    gst_element_set_state(made, GST_STATE_NULL);
    EXPECT_EQ(observation.starts, round);
    EXPECT_GE(observation.lowest, GST_STATE_PAUSED);
  }
}

}  // namespace
}  // namespace media
