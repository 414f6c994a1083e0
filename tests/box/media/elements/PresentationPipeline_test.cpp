#include "box/media/elements/PresentationPipeline.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <future>
#include <random>
#include <string>
#include <vector>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "box/media/GstRef.h"
#include "box/media/GstTime.h"
#include "box/media/WarmUp.h"
#include "tests/box/media/TestMedia.h"
#include "tests/box/media/elements/FakePresentation.h"

namespace {

using box::ElementaryKind;
using box::GstRef;
using box::PresentationPipeline;
using box::secondsOf;
using fake_presentation::Playback;
using fake_presentation::Script;
using fake_presentation::ScriptReader;
using fake_presentation::Units;
using fake_presentation::unitsOf;
using testing_media::TestMedia;

constexpr GstClockTime kMessageLimit = 30 * GST_SECOND;
constexpr double kFrame = 0.04;
constexpr double kTolerance = 1e-6;

/// A sink that notes the times of what reaches it.
class NotingSink {
 public:
  NotingSink() : _element(gst_element_factory_make("fakesink", nullptr)) {
    gst_object_ref_sink(_element.get());
    g_object_set(_element.get(), "sync", FALSE, nullptr);
    const GstRef<GstPad> pad(gst_element_get_static_pad(_element.get(), "sink"));
    gst_pad_add_probe(pad.get(),
                      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                   GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                                   GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                      onItem, this, nullptr);
  }
  GstElement* element() const { return _element.get(); }
  /// Since the last flush.
  std::vector<double> times() const {
    const std::lock_guard lock(_mutex);
    return _times;
  }
  double end() const {
    const std::lock_guard lock(_mutex);
    return _end;
  }
  bool hasGap() const {
    const std::lock_guard lock(_mutex);
    return _hasGap;
  }

 private:
  static GstPadProbeReturn onItem(GstPad*, GstPadProbeInfo* info, gpointer self) {
    auto& me = *static_cast<NotingSink*>(self);
    const std::lock_guard lock(me._mutex);
    if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
      // What comes in the wrong order comes too late.
      EXPECT_TRUE(me._times.empty() || !me._hasGap || me._times.back() >= me._gapStart ||
                  secondsOf(GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info))) >= me._gapStart);
      GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
      me._times.push_back(secondsOf(GST_BUFFER_PTS(buffer)));
      me._end = me._times.back() + secondsOf(GST_BUFFER_DURATION(buffer));
    } else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_FLUSH_STOP) {
      me._times.clear();
      me._hasGap = false;
    } else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_GAP) {
      me._hasGap = true;
      GstClockTime start = 0;
      gst_event_parse_gap(GST_PAD_PROBE_INFO_EVENT(info), &start, nullptr);
      me._gapStart = secondsOf(start);
    }
    return GST_PAD_PROBE_OK;
  }

  const GstRef<GstElement> _element;
  mutable std::mutex _mutex;
  std::vector<double> _times;
  double _end = 0;
  bool _hasGap = false;
  double _gapStart = 0;
};

class Player {
 public:
  explicit Player(std::shared_ptr<Playback> playback, double start = 0) : bus(gst_bus_new()) {
    pipeline = PresentationPipeline::make({.playback = std::move(playback),
                                           .keys = nullptr,
                                           .videoSink = video.element(),
                                           .audioSink = audio.element(),
                                           .bus = bus.get(),
                                           .start = start,
                                           .foundID3 = {},
                                           .foundEvent = {},
                                           .waiting =
                                               [this](bool waits) {
                                                 isWaiting = waits;
                                                 isWaiting.notify_all();
                                               },
                                           .makeDemuxer = fake_presentation::makeDemuxer});
  }
  ~Player() {
    pipeline->close();
    // Nobody else keeps it. A change of state may still be under way on a thread of the library.
    gst_bus_set_flushing(bus.get(), TRUE);
    std::promise<void> gone;
    g_object_weak_ref(
        G_OBJECT(pipeline->element()),
        [](gpointer promise, GObject*) { static_cast<std::promise<void>*>(promise)->set_value(); },
        &gone);
    pipeline.reset();
    EXPECT_EQ(gone.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
  }

  /// The next message of this type, or an error. Null after the limit.
  GstMessageType await(GstMessageType type) {
    while (true) {
      const GstRef<GstMessage> message(gst_bus_timed_pop(bus.get(), kMessageLimit));
      if (!message) return GST_MESSAGE_UNKNOWN;
      const GstMessageType found = GST_MESSAGE_TYPE(message.get());
      if (found == GST_MESSAGE_WARNING) ++warningCount;
      const GstStructure* const content = gst_message_get_structure(message.get());
      if (content && gst_structure_has_name(content, "missing-plugin")) ++missingCount;
      const bool isOwn = GST_MESSAGE_SRC(message.get()) == GST_OBJECT(pipeline->element());
      if (found == GST_MESSAGE_ERROR || (found == type && isOwn)) return found;
    }
  }
  bool pause() {
    gst_element_set_state(pipeline->element(), GST_STATE_PAUSED);
    return await(GST_MESSAGE_ASYNC_DONE) == GST_MESSAGE_ASYNC_DONE;
  }
  bool playToEnd() {
    gst_element_set_state(pipeline->element(), GST_STATE_PLAYING);
    return await(GST_MESSAGE_EOS) == GST_MESSAGE_EOS;
  }
  bool seek(double seconds, int flags = GST_SEEK_FLAG_ACCURATE, double rate = 1,
            double stop = -1) const {
    return gst_element_seek(pipeline->element(), rate, GST_FORMAT_TIME,
                            static_cast<GstSeekFlags>(flags | GST_SEEK_FLAG_FLUSH),
                            GST_SEEK_TYPE_SET, std::llround(seconds * 1e9), GST_SEEK_TYPE_SET,
                            stop < 0 ? -1 : std::llround(stop * 1e9)) == TRUE;
  }
  bool seekAndWait(double seconds, int flags = GST_SEEK_FLAG_ACCURATE, double rate = 1,
                   double stop = -1) {
    return seek(seconds, flags, rate, stop) &&
           await(GST_MESSAGE_ASYNC_DONE) == GST_MESSAGE_ASYNC_DONE;
  }
  double position() const {
    gint64 position = -1;
    gst_element_query_position(pipeline->element(), GST_FORMAT_TIME, &position);
    return secondsOf(position);
  }

  NotingSink video;
  NotingSink audio;
  const GstRef<GstBus> bus;
  std::atomic<bool> isWaiting = false;
  int warningCount = 0;
  int missingCount = 0;
  std::unique_ptr<PresentationPipeline> pipeline;
};

std::shared_ptr<ScriptReader> readerOf(Script script) {
  return std::make_shared<ScriptReader>(std::move(script));
}

/// Three seconds with B-frames and a key frame each half second.
const std::string& clipPath() {
  static const std::string path = [] {
    static_cast<void>(TestMedia::shared().url(
        "reordered.mp4", "-map 0 -map 1 -c:v libx264 -bf 2 -g 12 -pix_fmt yuv420p -c:a aac"));
    return TestMedia::shared().path("reordered.mp4");
  }();
  return path;
}

class PresentationPipelineTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { box::warmUpMedia(); }
  static Units video() { return unitsOf(clipPath(), ElementaryKind::Video); }
  static Units audio() { return unitsOf(clipPath(), ElementaryKind::Audio); }
  enum class Form { Separate, Muxed, VideoOnly, AudioOnly };
  static std::shared_ptr<Playback> playbackOf(Form form) {
    if (form == Form::Muxed)
      return std::make_shared<Playback>(readerOf({.video = video(), .audio = audio()}), nullptr, 3);
    return std::make_shared<Playback>(
        form != Form::AudioOnly ? readerOf({.video = video()}) : nullptr,
        form != Form::VideoOnly ? readerOf({.audio = audio()}) : nullptr, 3);
  }
};

constexpr int kKeyUnit = GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_BEFORE;

TEST_F(PresentationPipelineTest, PlaysToTheEnd) {
  for (const Form form : {Form::Separate, Form::Muxed, Form::VideoOnly, Form::AudioOnly}) {
    SCOPED_TRACE(static_cast<int>(form));
    const auto playback = playbackOf(form);
    Player player(playback);
    ASSERT_TRUE(player.pause());
    gint64 duration = 0;
    EXPECT_TRUE(gst_element_query_duration(player.pipeline->element(), GST_FORMAT_TIME, &duration));
    EXPECT_EQ(secondsOf(duration), 3);
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.warningCount, 0);
    EXPECT_NEAR(playback->position, 2.8, 0.2);
    const auto shown = player.video.times();
    ASSERT_EQ(shown.size(), form == Form::AudioOnly ? 0u : 75u);
    for (std::size_t index = 0; index < shown.size(); ++index)
      EXPECT_NEAR(shown[index], static_cast<double>(index) * kFrame, kTolerance);
    EXPECT_NEAR(player.audio.end(), form == Form::VideoOnly ? 0 : 3, 0.1);
  }
}

TEST_F(PresentationPipelineTest, SeeksExactly) {
  Player player(playbackOf(Form::Muxed), 1.23);
  ASSERT_TRUE(player.pause());
  EXPECT_NEAR(player.video.times().at(0), 1.23, kTolerance);
  struct Case {
    double target;
    int flags;
    double picture;  // its time, clipped to the segment
  };
  for (const Case& each :
       {Case{2.05, GST_SEEK_FLAG_ACCURATE, 2.05}, Case{0, GST_SEEK_FLAG_ACCURATE, 0},
        Case{0.5, GST_SEEK_FLAG_ACCURATE, 0.5}, Case{2.97, GST_SEEK_FLAG_ACCURATE, 2.97},
        Case{1.4, kKeyUnit, 0.96}, Case{0.97, kKeyUnit, 0.96}, Case{0.96, kKeyUnit, 0.96},
        Case{2.99, kKeyUnit, 2.88}, Case{0.1, kKeyUnit, 0}}) {
    SCOPED_TRACE(each.target);
    ASSERT_TRUE(player.seekAndWait(each.target, each.flags));
    EXPECT_NEAR(player.video.times().at(0), each.picture, kTolerance);
    EXPECT_NEAR(player.audio.times().at(0), each.picture, 0.03);
    EXPECT_NEAR(player.position(), each.picture, 0.03);
  }
}

TEST_F(PresentationPipelineTest, RefusesWhatItCannotDo) {
  Player player(playbackOf(Form::VideoOnly));
  ASSERT_TRUE(player.pause());
  EXPECT_FALSE(player.seek(0, GST_SEEK_FLAG_ACCURATE, -1, 2));
  EXPECT_FALSE(gst_element_seek(player.pipeline->element(), 1, GST_FORMAT_TIME, GST_SEEK_FLAG_NONE,
                                GST_SEEK_TYPE_SET, 0, GST_SEEK_TYPE_SET, -1));
  EXPECT_FALSE(gst_element_seek(player.pipeline->element(), 1, GST_FORMAT_BYTES,
                                GST_SEEK_FLAG_FLUSH, GST_SEEK_TYPE_SET, 0, GST_SEEK_TYPE_SET, -1));
  EXPECT_TRUE(player.playToEnd());
}

TEST_F(PresentationPipelineTest, EndsAtTheStopPosition) {
  Player player(playbackOf(Form::Separate));
  ASSERT_TRUE(player.pause());
  ASSERT_TRUE(player.seekAndWait(0.5, GST_SEEK_FLAG_ACCURATE, 1, 1.5));
  ASSERT_TRUE(player.playToEnd());
  EXPECT_NEAR(player.video.end(), 1.5, kTolerance);
  EXPECT_NEAR(player.audio.end(), 1.5, 0.001);
  EXPECT_EQ(player.video.times().size(), 26u);  // the first and the last are clipped
}

TEST_F(PresentationPipelineTest, ShowsKeyFramesAtHighRates) {
  Player player(playbackOf(Form::Muxed));
  ASSERT_TRUE(player.pause());
  ASSERT_TRUE(player.seekAndWait(0.7, GST_SEEK_FLAG_TRICKMODE, 4));
  ASSERT_TRUE(player.playToEnd());
  EXPECT_TRUE(player.audio.times().empty());
  const auto shown = player.video.times();
  EXPECT_GE(shown.size(), 5u);
  EXPECT_LE(shown.size(), 6u);
  // And goes back to all of it.
  ASSERT_TRUE(player.seek(2));
  ASSERT_EQ(player.await(GST_MESSAGE_EOS), GST_MESSAGE_EOS);
  EXPECT_EQ(player.video.times().size(), 25u);
  EXPECT_FALSE(player.audio.times().empty());
}

TEST_F(PresentationPipelineTest, TakesManySeeks) {
  std::mt19937 random(7);  // NOLINT: the same each time
  std::uniform_real_distribution<double> place(0, 2.95);
  for (const Form form : {Form::Separate, Form::Muxed}) {
    Player player(playbackOf(form));
    ASSERT_TRUE(player.pause());
    gst_element_set_state(player.pipeline->element(), GST_STATE_PLAYING);
    for (int index = 0; index < 200; ++index) {
      const bool isExact = random() % 2 == 0;
      ASSERT_TRUE(player.seek(place(random), isExact ? GST_SEEK_FLAG_ACCURATE : kKeyUnit));
      if (index % 7 == 0)
        gst_element_set_state(player.pipeline->element(),
                              index % 2 == 0 ? GST_STATE_PAUSED : GST_STATE_PLAYING);
    }
    gst_element_set_state(player.pipeline->element(), GST_STATE_PAUSED);
    ASSERT_TRUE(player.seek(1.1));
    GstState state = GST_STATE_NULL;
    ASSERT_EQ(gst_element_get_state(player.pipeline->element(), &state, nullptr, kMessageLimit),
              GST_STATE_CHANGE_SUCCESS);
    EXPECT_NEAR(player.video.times().at(0), 1.1, kTolerance);
    EXPECT_NEAR(player.position(), 1.1, 0.03);
  }
}

TEST_F(PresentationPipelineTest, ChangesTheCodec) {
  static_cast<void>(TestMedia::shared().url("other_codec.mp4", "-map 0 -c:v mpeg4 -g 12"));
  static_cast<void>(TestMedia::shared().url("other_sound.mp4", "-map 1 -c:a mp3"));
  Script pictures{.video = video()};
  Script sound{.audio = audio()};
  const auto append = [](Units& units, Units more) {
    std::move(more.begin(), more.end(), std::back_inserter(units));
  };
  append(pictures.video,
         unitsOf(TestMedia::shared().path("other_codec.mp4"), ElementaryKind::Video, 3));
  append(pictures.video, unitsOf(clipPath(), ElementaryKind::Video, 6));
  append(sound.audio,
         unitsOf(TestMedia::shared().path("other_sound.mp4"), ElementaryKind::Audio, 3));
  append(sound.audio, unitsOf(clipPath(), ElementaryKind::Audio, 6));
  Player player(std::make_shared<Playback>(readerOf(pictures), readerOf(sound), 9));
  ASSERT_TRUE(player.playToEnd());
  auto shown = player.video.times();
  ASSERT_EQ(shown.size(), 225u);
  EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end()));
  EXPECT_NEAR(player.audio.end(), 9, 0.1);
  // Also by a seek to and fro.
  for (const double target : {4.5, 1.5, 7.5}) {
    ASSERT_TRUE(player.seekAndWait(target));
    EXPECT_NEAR(player.video.times().at(0), target, kTolerance);
  }
}

TEST_F(PresentationPipelineTest, PlaysOverGaps) {
  Script pictures{.video = video()};
  pictures.gaps = {{1, 2}};
  Script sound{.audio = audio()};
  sound.gaps = {{0, 1.5}};
  Player player(std::make_shared<Playback>(readerOf(pictures), readerOf(sound), 3));
  ASSERT_TRUE(player.pause());
  ASSERT_TRUE(player.playToEnd());
  EXPECT_TRUE(player.video.hasGap());
  EXPECT_NEAR(player.video.end(), 3, kTolerance);
  const auto shown = player.video.times();
  EXPECT_GE(std::count_if(shown.begin(), shown.end(), [](double each) { return each < 1.1; }), 25);
  EXPECT_TRUE(std::none_of(shown.begin(), shown.end(),
                           [](double each) { return each > 1.1 && each < 1.9; }));
  EXPECT_GE(player.audio.times().front(), 1.4);
  gst_element_set_state(player.pipeline->element(), GST_STATE_PAUSED);
  ASSERT_TRUE(player.seekAndWait(1.6));
  EXPECT_TRUE(player.video.hasGap());
  EXPECT_TRUE(player.video.times().empty());
  EXPECT_NEAR(player.position(), 1.6, 0.03);
  ASSERT_TRUE(player.seekAndWait(1.6, kKeyUnit));
  EXPECT_NEAR(player.video.times().at(0), 0.96, kTolerance);
}

TEST_F(PresentationPipelineTest, OutlivesTheFailureOfOneTrack) {
  Player player(std::make_shared<Playback>(readerOf({.video = video()}),
                                           readerOf({.audio = audio(), .failsAt = 1}), 3));
  ASSERT_TRUE(player.playToEnd());
  EXPECT_EQ(player.warningCount, 1);
  EXPECT_EQ(player.video.times().size(), 75u);
  EXPECT_NEAR(player.audio.end(), 1, 0.1);
  EXPECT_EQ(player.pipeline->failure(), platform::Error::status(42));

  for (const double failsAt : {0.0, 1.0}) {
    Player muxed(std::make_shared<Playback>(
        readerOf({.video = video(), .audio = audio(), .failsAt = failsAt}), nullptr, 3));
    EXPECT_FALSE(muxed.playToEnd());
    EXPECT_EQ(muxed.pipeline->failure(), platform::Error::status(42));
    Player alone(
        std::make_shared<Playback>(nullptr, readerOf({.audio = audio(), .failsAt = failsAt}), 3));
    EXPECT_FALSE(alone.playToEnd());
  }
}

TEST_F(PresentationPipelineTest, SelectsKinds) {
  for (const Form form : {Form::Separate, Form::Muxed}) {
    SCOPED_TRACE(static_cast<int>(form));
    Player player(playbackOf(form));
    ASSERT_TRUE(player.pause());
    struct Case {
      std::string video, audio;
    };
    for (const Case& each : {Case{"v", ""}, Case{"", "a"}, Case{"v", "a"}}) {
      player.pipeline->setSelection({each.video, each.audio, ""});
      ASSERT_TRUE(player.seekAndWait(1));
      EXPECT_EQ(player.video.times().empty(), each.video.empty());
      EXPECT_EQ(player.audio.times().empty(), each.audio.empty());
      EXPECT_NEAR(player.position(), 1, 0.03);
    }
    EXPECT_TRUE(player.playToEnd());
    EXPECT_EQ(player.video.times().size(), 50u);
  }
}

TEST_F(PresentationPipelineTest, ReportsAMissingDecoder) {
  Units units = video();
  const std::shared_ptr<GstCaps> unknown(gst_caps_new_empty_simple("video/x-nobody-knows"),
                                         gst_caps_unref);
  for (auto& each : units) each.caps = unknown;
  Player player(
      std::make_shared<Playback>(readerOf({.video = units}), readerOf({.audio = audio()}), 3));
  EXPECT_TRUE(player.playToEnd());
  EXPECT_EQ(player.missingCount, 1);
}

TEST_F(PresentationPipelineTest, ClosesWhileItWaits) {
  for (const double blocksAt : {0.0, 0.7}) {
    for (const bool seeks : {false, true}) {
      const auto reader = readerOf({.video = video(), .audio = audio(), .blocksAt = blocksAt});
      Player player(std::make_shared<Playback>(reader, nullptr, 3));
      gst_element_set_state(player.pipeline->element(), GST_STATE_PLAYING);
      reader->blockCount.wait(0);
      player.isWaiting.wait(false);
      if (seeks) {
        EXPECT_TRUE(player.seek(1.5, kKeyUnit));
        reader->blockCount.wait(1);
      }
      // The destructor returns.
    }
  }
}

TEST_F(PresentationPipelineTest, BeginsAnew) {
  Player player(playbackOf(Form::Muxed), 1);
  ASSERT_TRUE(player.pause());
  gst_element_set_state(player.pipeline->element(), GST_STATE_NULL);
  ASSERT_TRUE(player.pause());
  ASSERT_TRUE(player.playToEnd());
  EXPECT_GE(player.video.times().size(), 50u);
}

}  // namespace
