#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/elements/PresentationPipeline.h"
#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/support/GstTime.h"
#include "streaming/playback/StreamedItem.h"
#include "tests/media/TestMedia.h"
#include "tests/media/elements/CountingSink.h"

namespace {

using media::GstRef;
using testing_media::TestMedia;

constexpr auto kWait = std::chrono::seconds(30);

/// An item over a socket, from the manifest to decoded pictures.
class StreamedPresentation : public testing::Test {
 protected:
  static void SetUpTestSuite() { media::warmUpMedia(); }

  std::shared_ptr<streaming::StreamedItem> open(const std::string& url) {
    streaming::ItemSetup setup;
    setup.url = url;
    auto item = _streaming->open(setup, [](auto, const auto&) { return true; });
    std::promise<bool> opened;
    item->whenOpened([&](const auto& error) { opened.set_value(!error); });
    EXPECT_TRUE(opened.get_future().get());
    return item;
  }
  std::optional<double> prepare(streaming::PresentationPlayback& playback) {
    auto ready = std::make_shared<std::promise<std::optional<double>>>();
    playback.prepare({}, {}, [ready](double seconds, const auto& error) {
      ready->set_value(error ? std::nullopt : std::optional<double>(seconds));
    });
    auto result = ready->get_future();
    return result.wait_for(kWait) == std::future_status::ready ? result.get() : std::nullopt;
  }

 private:
  const std::shared_ptr<streaming::Streaming> _streaming = streaming::Streaming::make();
};

TEST_F(StreamedPresentation, PlaysAndSeeks) {
  struct Case {
    std::string name;
    double duration;
    bool hasSound;
  };
  static_cast<void>(TestMedia::shared().url("fragmented_silent.mp4"));
  for (const Case& each : {Case{"programme.m3u8", 40, true}, Case{"texts.mpd", 3, false}}) {
    SCOPED_TRACE(each.name);
    const auto item = open(TestMedia::shared().url(each.name));
    ASSERT_EQ(item->kind(), streaming::StreamedItem::Kind::Presentation);
    const auto playback = item->presentation();
    const auto start = prepare(*playback);
    ASSERT_TRUE(start);
    testing_media::CountingSink video;
    const testing_media::CountingSink audio;
    const auto pipeline = media::PresentationPipeline::make({.playback = playback,
                                                             .keys = nullptr,
                                                             .videoSink = video.element(),
                                                             .audioSink = audio.element(),
                                                             .bus = nullptr,
                                                             .start = *start,
                                                             .foundID3 = {},
                                                             .foundEvent = {},
                                                             .waiting = {}});
    ASSERT_TRUE(pipeline);
    const GstRef<GstBus> bus(gst_element_get_bus(pipeline->element()));
    const auto await = [&](GstMessageType type) {
      const GstRef<GstMessage> message(gst_bus_timed_pop_filtered(
          bus.get(), 30 * GST_SECOND, static_cast<GstMessageType>(type | GST_MESSAGE_ERROR)));
      return message ? GST_MESSAGE_TYPE(message.get()) : GST_MESSAGE_UNKNOWN;
    };
    gst_element_set_state(pipeline->element(), GST_STATE_PLAYING);
    ASSERT_EQ(await(GST_MESSAGE_EOS), GST_MESSAGE_EOS);
    EXPECT_EQ(video.count, each.duration * 25);
    EXPECT_GE(audio.count, each.hasSound ? each.duration * 40 : 0);
    gint64 duration = 0;
    EXPECT_TRUE(gst_element_query_duration(pipeline->element(), GST_FORMAT_TIME, &duration));
    EXPECT_NEAR(media::secondsOf(duration), each.duration, 0.1);
    gst_element_set_state(pipeline->element(), GST_STATE_PAUSED);
    for (const double share : {0.8, 0.1, 0.513}) {
      const double target = share * each.duration;
      ASSERT_TRUE(gst_element_seek_simple(
          pipeline->element(), GST_FORMAT_TIME,
          static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
          static_cast<gint64>(target * 1e9)));
      ASSERT_EQ(gst_element_get_state(pipeline->element(), nullptr, nullptr, 30 * GST_SECOND),
                GST_STATE_CHANGE_SUCCESS);
      GstSample* shown = nullptr;
      g_object_get(video.element(), "last-sample", &shown, nullptr);
      const GstRef<GstSample> sample(shown);
      ASSERT_TRUE(sample);
      EXPECT_NEAR(media::secondsOf(GST_BUFFER_PTS(gst_sample_get_buffer(shown))), target, 0.001);
    }
    for (const double rate : {8.0, 16.0}) {
      video.count = 0;
      ASSERT_TRUE(gst_element_seek(pipeline->element(), rate, GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH,
                                   GST_SEEK_TYPE_SET, 0, GST_SEEK_TYPE_SET, -1));
      gst_element_set_state(pipeline->element(), GST_STATE_PLAYING);
      ASSERT_EQ(await(GST_MESSAGE_EOS), GST_MESSAGE_EOS);
      EXPECT_GE(video.count, std::floor(each.duration / rate * 4)) << "four pictures a second";
      gst_element_set_state(pipeline->element(), GST_STATE_PAUSED);
    }
    pipeline->close();
    item->close();
  }
}

}  // namespace
