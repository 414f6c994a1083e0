#include "media/elements/ResourcePipeline.h"

#include <atomic>
#include <string>
#include <string_view>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"
#include "tests/media/elements/CountingSink.h"

namespace {

using media::GstRef;
using testing_media::CountingSink;
using testing_media::TestMedia;

constexpr GstClockTime kMessageLimit = 60 * GST_SECOND;

class ResourcePipelineTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { media::warmUpMedia(); }
  void TearDown() override { close(); }
  void close() {
    if (pipeline) gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    pipeline.reset();
  }

  void open(std::string_view name) {
    close();
    static_cast<void>(TestMedia::shared().url(name));
    const std::string url = TestMedia::shared().fileURL(name);
    pipeline = media::makeResourcePipeline(
        {.source = gst_element_make_from_uri(GST_URI_SRC, url.c_str(), nullptr, nullptr),
         .videoSink = picture.element(),
         .audioSink = sound.element(),
         .textSink = text.element()});
    ASSERT_TRUE(pipeline);
    media::Workarounds::shared().installForPipeline(pipeline.get());
    bus.reset(gst_element_get_bus(pipeline.get()));
  }
  void setState(GstState state) const {
    ASSERT_NE(gst_element_set_state(pipeline.get(), state), GST_STATE_CHANGE_FAILURE);
  }
  /// Returns the next message of this type, or an error message, or null after the time-out.
  GstRef<GstMessage> next(GstMessageType type) const {
    return GstRef<GstMessage>(gst_bus_timed_pop_filtered(
        bus.get(), kMessageLimit, static_cast<GstMessageType>(type | GST_MESSAGE_ERROR)));
  }
  /// Returns whether a message of each type arrives.
  bool comes(int types) const {
    while (types != 0) {
      const auto message = next(static_cast<GstMessageType>(types));
      if (!message || GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) return false;
      types &= ~GST_MESSAGE_TYPE(message.get());
    }
    return true;
  }
  /// Waits for messages of the other types, too.
  bool seek(GstClockTime time, int others = 0) const {
    return gst_element_seek_simple(
               pipeline.get(), GST_FORMAT_TIME,
               static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
               static_cast<gint64>(time)) &&
           comes(GST_MESSAGE_ASYNC_DONE | others);
  }
  GstClockTime position() const {
    gint64 position = -1;
    gst_element_query_position(pipeline.get(), GST_FORMAT_TIME, &position);
    return static_cast<GstClockTime>(position);
  }

  CountingSink picture, sound, text;
  GstRef<GstElement> pipeline;
  GstRef<GstBus> bus;
};

TEST_F(ResourcePipelineTest, PrerollsAndEndsWithTheStreamsThereAre) {
  struct Case {
    const char* name;
    bool hasPicture, hasSound;
  };
  for (const Case& each : {Case{"clip.mp4", true, true}, Case{"silent.mp4", true, false},
                           Case{"tone.m4a", false, true}}) {
    SCOPED_TRACE(each.name);
    ASSERT_NO_FATAL_FAILURE(open(each.name));
    picture.count = sound.count = 0;
    ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PAUSED));
    ASSERT_TRUE(comes(GST_MESSAGE_ASYNC_DONE));
    EXPECT_EQ(picture.count > 0, each.hasPicture);
    EXPECT_EQ(sound.count > 0, each.hasSound);
    ASSERT_TRUE(seek(2 * GST_SECOND));
    EXPECT_NEAR(static_cast<double>(position()), 2e9, 1e8);
    ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PLAYING));
    EXPECT_TRUE(comes(GST_MESSAGE_EOS));
  }
}

TEST_F(ResourcePipelineTest, BeginsAnewBeforeAndAfterThePreroll) {
  ASSERT_NO_FATAL_FAILURE(open("clip.mp4"));
  ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PAUSED));
  for (int round = 0; round < 3; ++round) {
    ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_NULL));
    picture.count = sound.count = 0;
    ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PAUSED));
    ASSERT_TRUE(comes(GST_MESSAGE_ASYNC_DONE));
    EXPECT_GT(picture.count, 0);
    EXPECT_GT(sound.count, 0);
  }
  ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PLAYING));
  EXPECT_TRUE(comes(GST_MESSAGE_EOS));
}

TEST_F(ResourcePipelineTest, AStreamIsSwitchedOffAndOnAgain) {
  ASSERT_NO_FATAL_FAILURE(open("clip.mp4"));
  ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PAUSED));
  const auto message = next(GST_MESSAGE_STREAM_COLLECTION);
  ASSERT_TRUE(message);
  GstStreamCollection* parsed = nullptr;
  gst_message_parse_stream_collection(message.get(), &parsed);
  const GstRef<GstStreamCollection> streams(parsed);
  ASSERT_TRUE(comes(GST_MESSAGE_ASYNC_DONE));
  const auto select = [&](int types) {
    GList* ids = nullptr;
    for (guint index = 0; index < gst_stream_collection_get_size(parsed); ++index) {
      GstStream* const stream = gst_stream_collection_get_stream(parsed, index);
      if (gst_stream_get_stream_type(stream) & types)
        ids = g_list_append(ids, const_cast<gchar*>(gst_stream_get_stream_id(stream)));
    }
    gst_element_send_event(pipeline.get(), gst_event_new_select_streams(ids));
    g_list_free(ids);
  };
  const auto selectAndSeek = [&](int types) {
    select(types);
    // The first seek makes decodebin3 switch streams; new streams flow after the second one.
    return seek(GST_SECOND, GST_MESSAGE_STREAMS_SELECTED) && seek(GST_SECOND);
  };
  select(GST_STREAM_TYPE_AUDIO);
  EXPECT_TRUE(comes(GST_MESSAGE_STREAMS_SELECTED)) << "with full queues";
  ASSERT_TRUE(seek(GST_SECOND));
  picture.count = 0;
  ASSERT_TRUE(seek(2 * GST_SECOND));
  EXPECT_EQ(picture.count, 0);
  ASSERT_TRUE(selectAndSeek(GST_STREAM_TYPE_AUDIO | GST_STREAM_TYPE_VIDEO));
  EXPECT_GT(picture.count, 0);
  ASSERT_TRUE(selectAndSeek(GST_STREAM_TYPE_VIDEO));
  ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PLAYING));
  EXPECT_TRUE(comes(GST_MESSAGE_EOS));
}

TEST_F(ResourcePipelineTest, NothingIsReadBeforeAllElementsCanTakeData) {
  ASSERT_NO_FATAL_FAILURE(open("clip.mp4"));
  struct Late {
    std::string names;
    std::atomic<bool> looked = false;
  } late;
  // Called on the streaming thread after typefinding.
  g_signal_connect(pipeline.get(), "deep-element-added",
                   G_CALLBACK(+[](GstBin* bin, GstBin*, GstElement* added, gpointer data) {
                     if (!media::isFromFactory(added, "qtdemux")) return;
                     auto& seen = *static_cast<Late*>(data);
                     for (const GList* each = bin->children; each; each = each->next) {
                       auto* const child = GST_ELEMENT(each->data);
                       if (!GST_OBJECT_FLAG_IS_SET(child, GST_ELEMENT_FLAG_SINK) &&
                           !GST_OBJECT_FLAG_IS_SET(child, GST_ELEMENT_FLAG_SOURCE) &&
                           !media::isFromFactory(child, "parsebin") &&
                           GST_STATE(child) < GST_STATE_PAUSED)
                         seen.names += GST_OBJECT_NAME(child) + std::string(" ");
                     }
                     seen.looked = true;
                   }),
                   &late);
  ASSERT_NO_FATAL_FAILURE(setState(GST_STATE_PAUSED));
  ASSERT_TRUE(comes(GST_MESSAGE_ASYNC_DONE));
  EXPECT_TRUE(late.looked);
  EXPECT_EQ(late.names, "");
}

}  // namespace
