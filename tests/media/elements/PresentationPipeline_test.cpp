#include "media/elements/PresentationPipeline.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstTime.h"
#include "tests/media/TestMedia.h"
#include "tests/media/elements/FakePresentation.h"
#include "tests/media/elements/PresentationPlayer.h"

namespace {

using fake_presentation::Playback;
using fake_presentation::Player;
using fake_presentation::Script;
using fake_presentation::ScriptReader;
using fake_presentation::Units;
using fake_presentation::unitsOf;
using media::ElementaryKind;
using media::secondsOf;
using testing_media::TestMedia;

constexpr double kFrame = 0.04;
constexpr double kTolerance = 1e-6;

std::shared_ptr<ScriptReader> readerOf(Script script) {
  return std::make_shared<ScriptReader>(std::move(script));
}

/// Three seconds with B-frames and a key frame every half second.
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
  static void SetUpTestSuite() { media::warmUpMedia(); }
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
    double picture;  // time of the first picture, clipped to the segment
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

TEST_F(PresentationPipelineTest, RejectsUnsupportedSeeks) {
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
  // And back to normal playback.
  ASSERT_TRUE(player.seek(2));
  ASSERT_EQ(player.await(GST_MESSAGE_EOS), GST_MESSAGE_EOS);
  EXPECT_EQ(player.video.times().size(), 25u);
  EXPECT_FALSE(player.audio.times().empty());
}

TEST_F(PresentationPipelineTest, SurvivesManySeeks) {
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
    ASSERT_EQ(gst_element_get_state(player.pipeline->element(), &state, nullptr,
                                    fake_presentation::kMessageLimit),
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
  // Also by seeking back and forth.
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
  ASSERT_TRUE(player.seekAndWait(0.7, kKeyUnit));
  EXPECT_NEAR(player.video.times().at(0), 0.48, kTolerance) << "the audio waits for the key frame";
}

TEST_F(PresentationPipelineTest, PlaysOnAfterTheFailureOfOneTrack) {
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
  // Media without sound cannot continue with it.
  Player silent(
      std::make_shared<Playback>(readerOf({.video = video(), .failsAt = 2.9}), nullptr, 3));
  EXPECT_FALSE(silent.playToEnd());
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

TEST_F(PresentationPipelineTest, ClosesWhileWaiting) {
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

TEST_F(PresentationPipelineTest, RestartsAfterTheNullState) {
  Player player(playbackOf(Form::Muxed), 1);
  ASSERT_TRUE(player.pause());
  gst_element_set_state(player.pipeline->element(), GST_STATE_NULL);
  ASSERT_TRUE(player.pause());
  ASSERT_TRUE(player.playToEnd());
  EXPECT_GE(player.video.times().size(), 50u);
}

}  // namespace
