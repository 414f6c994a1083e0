#include <atomic>
#include <future>
#include <memory>

#include <gtest/gtest.h>
#include <libsoup/soup.h>

#include "box/media/GstRef.h"
#include "box/media/WarmUp.h"
#include "box/media/workarounds/Workarounds.h"
#include "tests/box/media/TestMedia.h"

namespace box {
namespace {

using testing_media::TestMedia;

/// Keeps the download thread of `playbin` from taking what the first seek hands to it until the
/// second seek has flushed, or a bound has passed.
struct SlowDownloads {
  static constexpr auto kLimit = std::chrono::milliseconds(100);
  std::atomic<GMainContext*> context = nullptr;
  int flushes = 0;
  std::atomic<int> taken = 0;
  int takenInTime = 0;
  std::promise<void> begun, held, givenUp;

  explicit SlowDownloads(GstElement* playbin) {
    g_signal_connect(playbin, "deep-element-added", G_CALLBACK(onElementAdded), this);
  }

  static void onElementAdded(GstBin*, GstBin* parent, GstElement* element, gpointer self) {
    if (isMadeBy(element, "hlsdemux2"))
      g_signal_connect(element, "pad-added", G_CALLBACK(onPadAdded), self);
    if (!isMadeBy(GST_ELEMENT(parent), "hlsdemux2") || !isMadeBy(element, "parsebin")) return;
    const GstRef<GstPad> input(gst_element_get_static_pad(element, "sink"));
    gst_pad_add_probe(input.get(), GST_PAD_PROBE_TYPE_EVENT_FLUSH, onRestart, self, nullptr);
  }
  static void onPadAdded(GstElement* demuxer, GstPad* pad, gpointer self) {
    if (demuxer->numsrcpads == 1)
      gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_FLUSH, onFlushed, self, nullptr);
  }
  static GstPadProbeReturn onFlushed(GstPad*, GstPadProbeInfo* info, gpointer self) {
    auto& me = *static_cast<SlowDownloads*>(self);
    if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) != GST_EVENT_FLUSH_STOP)
      return GST_PAD_PROBE_OK;
    if (++me.flushes == 1) {
      me.taken = 0;
      g_main_context_invoke_full(me.context, G_PRIORITY_HIGH, hold, self, nullptr);
    } else if (me.flushes == 2) {
      me.takenInTime = me.taken;
      me.givenUp.set_value();
    }
    return GST_PAD_PROBE_OK;
  }
  static gboolean hold(gpointer self) {
    static_cast<SlowDownloads*>(self)->givenUp.get_future().wait_for(kLimit);
    return G_SOURCE_REMOVE;
  }
  /// The demuxer restarts, and holds off another seek until that is done.
  static GstPadProbeReturn onRestart(GstPad*, GstPadProbeInfo*, gpointer self) {
    static_cast<SlowDownloads*>(self)->begun.set_value();
    return GST_PAD_PROBE_REMOVE;
  }
  static gboolean onQueued(GSignalInvocationHint*, guint, const GValue*, gpointer self) {
    auto& me = *static_cast<SlowDownloads*>(self);
    me.context = g_main_context_get_thread_default();
    ++me.taken;
    return TRUE;
  }
};

// Whether a late cancellation ends the process is a race. Whether it is late is not.
TEST(AdaptiveLostCancel, ASeekWaitsUntilEarlierDownloadsAreTaken) {
  warmUpMedia();
  GstElement* const made = gst_element_factory_make("playbin3", nullptr);
  ASSERT_NE(made, nullptr);
  const GstRef<GstElement> playbin(GST_ELEMENT(gst_object_ref_sink(made)));
  g_object_set(made, "uri", TestMedia::shared().url("dated.m3u8").c_str(), "video-sink",
               gst_element_factory_make("fakesink", nullptr), "audio-sink",
               gst_element_factory_make("fakesink", nullptr), nullptr);
  Workarounds::shared().installForPlaybin(made);
  SlowDownloads slow(made);
  g_type_class_ref(SOUP_TYPE_SESSION);  // the signals exist once the class does
  const guint signal = g_signal_lookup("request-queued", SOUP_TYPE_SESSION);
  const gulong hook =
      g_signal_add_emission_hook(signal, 0, SlowDownloads::onQueued, &slow, nullptr);
  gst_element_set_state(made, GST_STATE_PAUSED);
  const auto settles = [&] {
    return gst_element_get_state(made, nullptr, nullptr, 10 * GST_SECOND) ==
           GST_STATE_CHANGE_SUCCESS;
  };
  EXPECT_TRUE(settles());
  const auto seek = [&](GstClockTime time) {
    return gst_element_seek_simple(made, GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH,
                                   static_cast<gint64>(time));
  };
  EXPECT_TRUE(seek(2 * GST_SECOND));
  slow.begun.get_future().wait_for(std::chrono::seconds(10));
  EXPECT_TRUE(seek(GST_SECOND));
  EXPECT_TRUE(settles());
  EXPECT_EQ(slow.takenInTime, 1);
  g_signal_remove_emission_hook(signal, hook);
  gst_element_set_state(made, GST_STATE_NULL);
}

}  // namespace
}  // namespace box
