#include "media/workarounds/Decodebin3EarlyEos.h"

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "media/elements/ResourcePipeline.h"
#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"

namespace media {
namespace {

constexpr auto kPatience = std::chrono::seconds(10);

/// An element with two gated inputs. The test pushes into each, and the output is recorded.
class Decodebin3EarlyEos : public testing::Test {
 protected:
  struct Feed {
    GstRef<GstPad> source;
    GstRef<GstPad> sink;
  };

  Decodebin3EarlyEos() {
    warmUpMedia();
    element.reset(
        GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("multiqueue", nullptr))));
    holdEarlyEos(element.get());
    first = makeFeed('a');
    second = makeFeed('b');
    gst_element_set_state(element.get(), GST_STATE_PAUSED);
  }
  ~Decodebin3EarlyEos() override { gst_element_set_state(element.get(), GST_STATE_NULL); }

  /// Records a buffer as `name`, and EOS in upper case.
  Feed makeFeed(char name) {
    Feed feed{GstRef<GstPad>(GST_PAD(gst_object_ref_sink(gst_pad_new("src", GST_PAD_SRC)))),
              GstRef<GstPad>(gst_element_request_pad_simple(element.get(), "sink_%u"))};
    // Added after the gate's probe, so that it only sees what passes that.
    struct Note {
      Decodebin3EarlyEos* test;
      char name;
    };
    gst_pad_add_probe(
        feed.sink.get(), GST_PAD_PROBE_TYPE_DATA_DOWNSTREAM,
        [](GstPad*, GstPadProbeInfo* info, gpointer data) {
          auto* const note = static_cast<Note*>(data);
          const std::lock_guard lock(note->test->mutex);
          if (info->type & GST_PAD_PROBE_TYPE_BUFFER) note->test->passed += note->name;
          if ((info->type & GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM) &&
              GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS)
            note->test->passed += static_cast<char>(note->name - 'a' + 'A');
          return GST_PAD_PROBE_OK;
        },
        new Note{this, name}, [](gpointer data) { delete static_cast<Note*>(data); });
    gst_pad_set_active(feed.source.get(), TRUE);
    gst_pad_link(feed.source.get(), feed.sink.get());
    gst_pad_push_event(feed.source.get(), gst_event_new_stream_start(std::string(1, name).c_str()));
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    gst_pad_push_event(feed.source.get(), gst_event_new_segment(&segment));
    return feed;
  }
  static void pushBuffer(const Feed& feed) { gst_pad_push(feed.source.get(), gst_buffer_new()); }
  static void pushEnd(const Feed& feed) {
    gst_pad_push_event(feed.source.get(), gst_event_new_eos());
  }
  std::string log() {
    const std::lock_guard lock(mutex);
    return passed;
  }

  GstRef<GstElement> element;
  Feed first;
  Feed second;
  std::mutex mutex;
  std::string passed;
};

// One thread pushes into both inputs, as a demuxer does.

TEST_F(Decodebin3EarlyEos, AnEndWaitsUntilTheOthersFirstBufferHasGoneThrough) {
  pushBuffer(first);
  pushEnd(first);
  pushBuffer(second);
  EXPECT_EQ(log(), "ab");
  pushBuffer(second);
  pushEnd(second);
  EXPECT_EQ(log(), "abAbB");
}

TEST_F(Decodebin3EarlyEos, AnEndWaitsForAnEndWithOrWithoutBuffers) {
  pushEnd(first);
  pushEnd(second);
  EXPECT_EQ(log(), "AB");
  passed.clear();
  first = makeFeed('c');
  second = makeFeed('d');
  pushEnd(first);
  pushBuffer(second);
  EXPECT_EQ(log(), "d");
  pushEnd(second);
  EXPECT_EQ(log(), "dCD");
}

TEST_F(Decodebin3EarlyEos, NothingIsHeldOnceAllHaveBegun) {
  for (int count = 0; count < 2; ++count) {
    pushBuffer(first);
    pushBuffer(second);
  }
  pushEnd(first);
  pushEnd(second);
  EXPECT_EQ(log(), "ababAB");
}

TEST_F(Decodebin3EarlyEos, AFlushDropsTheEnd) {
  pushBuffer(first);
  pushEnd(first);
  gst_pad_push_event(first.source.get(), gst_event_new_flush_start());
  gst_pad_push_event(first.source.get(), gst_event_new_flush_stop(TRUE));
  pushEnd(second);
  EXPECT_EQ(log(), "aB");
}

TEST_F(Decodebin3EarlyEos, TheRemovalOfTheOtherPadEndsTheWait) {
  pushEnd(first);
  gst_element_release_request_pad(element.get(), second.sink.get());
  // It is sent on another thread.
  const auto limit = std::chrono::steady_clock::now() + kPatience;
  while (log().empty() && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  EXPECT_EQ(log(), "A");
}

TEST(Decodebin3EarlyEosPull, LetsAPulledPadPass) {
  warmUpMedia();
  const GstRef<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(gst_parse_launch(
      "filesrc location=/proc/self/exe ! typefind name=reader ! fakesink", nullptr))));
  const GstRef<GstElement> reader(gst_bin_get_by_name(GST_BIN(pipeline.get()), "reader"));
  holdEarlyEos(reader.get());
  gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
  EXPECT_EQ(gst_element_get_state(pipeline.get(), nullptr, nullptr, 10 * GST_SECOND),
            GST_STATE_CHANGE_SUCCESS);
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

TEST_F(Decodebin3EarlyEos, IsThereInAResourcePipeline) {
  if (!Workarounds::shared().isNeeded("Decodebin3EarlyEos")) GTEST_SKIP();
  const auto pipeline =
      makeResourcePipeline({.source = gst_element_factory_make("fakesrc", nullptr)});
  Workarounds::shared().installForPipeline(pipeline.get());
  GstIterator* const found =
      gst_bin_iterate_all_by_element_factory_name(GST_BIN(pipeline.get()), "decodebin3");
  GValue value = G_VALUE_INIT;
  ASSERT_EQ(gst_iterator_next(found, &value), GST_ITERATOR_OK);
  auto* const decodebin = GST_ELEMENT(g_value_get_object(&value));
  const auto feedOf = [](GstPad* sink) {
    Feed feed{GstRef<GstPad>(GST_PAD(gst_object_ref_sink(gst_pad_new("src", GST_PAD_SRC)))),
              GstRef<GstPad>(sink)};
    gst_pad_set_active(feed.source.get(), TRUE);
    gst_pad_set_active(feed.sink.get(), TRUE);
    gst_pad_link(feed.source.get(), feed.sink.get());
    return feed;
  };
  const Feed feed = feedOf(gst_element_get_static_pad(decodebin, "sink"));
  const Feed other = feedOf(gst_element_request_pad_simple(decodebin, "sink_%u"));
  int ends = 0;
  gst_pad_add_probe(
      feed.sink.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM,
      [](GstPad*, GstPadProbeInfo* info, gpointer count) {
        *static_cast<int*>(count) +=
            GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS;
        return GST_PAD_PROBE_OK;
      },
      &ends, nullptr);
  pushEnd(feed);
  EXPECT_EQ(ends, 0);
  pushEnd(other);
  EXPECT_EQ(ends, 1);
  g_value_unset(&value);
  gst_iterator_free(found);
}

}  // namespace
}  // namespace media
