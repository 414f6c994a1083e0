// Demuxers that output neither data nor an end.

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <semaphore>
#include <string>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/engine/MediaEngine.h"
#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "platform/foundation/Error.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/MediaEngineMaker.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using media::GstRef;

constexpr const char* kCaps = "application/x-vorlane-test-lost";
constexpr char kMagic[] = "VORLANE LOST";
constexpr GstClockTime kPart = 20 * GST_MSECOND;
constexpr guint kParts = 10;

GstClockTime announcedDuration = GST_CLOCK_TIME_NONE;

/// The time of the engine, but not of GStreamer. It only advances here.
class LostDataClock final : public platform::Clock {
 public:
  platform::TimePoint now() const override { return platform::TimePoint(_now.load()); }
  platform::Date date() const override { return {}; }
  void advance(platform::Duration duration) { _now = _now.load() + duration; }

 private:
  std::atomic<platform::Duration> _now{std::chrono::hours(1)};
};

gboolean answerDuration(GstPad* pad, GstObject* parent, GstQuery* query) {
  if (GST_QUERY_TYPE(query) != GST_QUERY_DURATION) return gst_pad_query_default(pad, parent, query);
  gst_query_set_duration(query, GST_FORMAT_TIME, static_cast<gint64>(announcedDuration));
  return TRUE;
}

/// Outputs a fifth of a second of silence, and then nothing more.
void outputSilence(GstElement* demuxer) {
  GstPad* const source = gst_pad_new("src", GST_PAD_SRC);
  if (GST_CLOCK_TIME_IS_VALID(announcedDuration))
    gst_pad_set_query_function(source, answerDuration);
  gst_pad_set_active(source, TRUE);
  gst_pad_push_event(source, gst_event_new_stream_start("silence"));
  const GstRef<GstCaps> caps(gst_caps_from_string(
      "audio/x-raw,format=S16LE,rate=48000,channels=2,layout=interleaved,channel-mask=(bitmask)3"));
  gst_pad_set_caps(source, caps.get());
  gst_element_add_pad(demuxer, source);
  gst_element_no_more_pads(demuxer);
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  gst_pad_push_event(source, gst_event_new_segment(&segment));
  for (guint part = 0; part < kParts; ++part) {
    constexpr gsize kBytes = 48 * 20 * 4;
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, kBytes, nullptr);
    gst_buffer_memset(buffer, 0, 0, kBytes);
    GST_BUFFER_PTS(buffer) = part * kPart;
    GST_BUFFER_DURATION(buffer) = kPart;
    gst_pad_push(source, buffer);
  }
}

GstFlowReturn takeBytes(GstPad*, GstObject* demuxer, GstBuffer* buffer) {
  const GstRef<GstBuffer> owned(buffer);
  if (GST_ELEMENT(demuxer)->numsrcpads == 0) outputSilence(GST_ELEMENT(demuxer));
  return GST_FLOW_OK;
}

/// Does not pass EOS on.
gboolean dropEvent(GstPad*, GstObject*, GstEvent* event) {
  gst_event_unref(event);
  return TRUE;
}

void registerLosingDemuxer() {
  static const GType type = [] {
    constexpr auto kInitialise = [](gpointer elementClass, gpointer) {
      const GstRef<GstCaps> caps(gst_caps_new_empty_simple(kCaps));
      auto* const element = GST_ELEMENT_CLASS(elementClass);
      gst_element_class_add_pad_template(
          element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps.get()));
      gst_element_class_add_pad_template(
          element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_SOMETIMES, GST_CAPS_ANY));
      gst_element_class_set_static_metadata(element, "Test", "Codec/Demuxer", "None", "TVVorlane");
    };
    constexpr auto kCreate = [](GTypeInstance* instance, gpointer elementClass) {
      GstPad* const sink = gst_pad_new_from_template(
          gst_element_class_get_pad_template(GST_ELEMENT_CLASS(elementClass), "sink"), "sink");
      gst_pad_set_chain_function(sink, takeBytes);
      gst_pad_set_event_function(sink, dropEvent);
      gst_element_add_pad(GST_ELEMENT(instance), sink);
    };
    return g_type_register_static_simple(GST_TYPE_ELEMENT, "VorlaneLosingDemuxer",
                                         sizeof(GstElementClass), kInitialise, sizeof(GstElement),
                                         kCreate, static_cast<GTypeFlags>(0));
  }();
  gst_element_register(nullptr, "vorlanelosingdemuxer", GST_RANK_PRIMARY, type);
  const GstRef<GstCaps> caps(gst_caps_new_empty_simple(kCaps));
  const auto find = [](GstTypeFind* finder, gpointer) {
    constexpr guint kSize = sizeof(kMagic) - 1;
    const guint8* const head = gst_type_find_peek(finder, 0, kSize);
    if (head && std::memcmp(head, kMagic, kSize) == 0)
      gst_type_find_suggest_empty_simple(finder, GST_TYPE_FIND_MAXIMUM, kCaps);
  };
  gst_type_find_register(nullptr, "vorlanelost", GST_RANK_PRIMARY, find, nullptr, caps.get(),
                         nullptr, nullptr);
}

/// Plays an item of this duration until it fails or ends.
void playUntilDecided(EngineHarness& harness, LostDataClock& clock, GstClockTime duration) {
  announcedDuration = duration;
  media::warmUpMedia();
  registerLosingDemuxer();
  const TestMedia& media = TestMedia::shared();
  std::ofstream(media.path("lost.bin"), std::ios::binary) << kMagic;
  harness.load(media.fileURL("lost.bin"));
  ASSERT_TRUE(harness.waitForEvent("play 1"));
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!harness.error() && harness.count("end") == 0) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit);
    clock.advance(std::chrono::seconds(16));
    // The clock does not wake the engine.
    std::binary_semaphore isHandled(0);
    static_cast<media::MediaEngine&>(harness.engine()).ping([&] { isHandled.release(); });
    isHandled.acquire();
    harness.runDueTasks();
  }
}

EngineMaker engineWith(const LostDataClock& clock) {
  return [&clock](platform::MainQueue& queue, const platform::Clock&) {
    media::MediaEngineOptions options;
    options.allowFileURLs = true;
    return std::make_unique<media::MediaEngine>(queue, clock, options);
  };
}

TEST(LostData, FailsAnItemBeforeItsEnd) {
  for (const GstClockTime duration : {GST_CLOCK_TIME_NONE, GstClockTime{3600} * GST_SECOND}) {
    LostDataClock clock;
    EngineHarness harness(engineWith(clock));
    playUntilDecided(harness, clock, duration);
    ASSERT_TRUE(harness.error());
    EXPECT_EQ(harness.error()->code,
              static_cast<std::int64_t>(platform::MediaErrorCode::DecodeFailed));
    EXPECT_EQ(harness.events(), (std::vector<std::string>{"ready", "play 1", "fail"}));
  }
}

/// Durations are often a little longer than the last packet.
TEST(LostData, EndsAnItemNearItsEnd) {
  LostDataClock clock;
  EngineHarness harness(engineWith(clock));
  playUntilDecided(harness, clock, 1100 * GST_MSECOND);
  EXPECT_FALSE(harness.error());
  EXPECT_EQ(harness.events(), (std::vector<std::string>{"ready", "play 1", "end"}));
}

}  // namespace
}  // namespace testing_media
