// Every feature of HLS and DASH in docs/media.md, played to its end.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/media/PendingRequests.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

constexpr std::int64_t kNoMedia =
    static_cast<std::int64_t>(platform::MediaErrorCode::FormatNotRecognized);
constexpr std::int64_t kNoKey =
    static_cast<std::int64_t>(platform::MediaErrorCode::ContentNotAuthorized);

struct Row {
  const char* name;
  double duration = 3;
  int sounds = 1;
  int texts = 0;            ///< number of texts; one shows "Ende" from 2 to 2.9 s if `readsText`
  double missingFrom = -1;  ///< start of a gap in the media
  double missingUntil = -1;
  std::int64_t error = 0;  ///< 0: playback succeeds
  bool hasPicture = true;
  bool isKeyRefused = false;
  bool readsText = true;
  double lastPicture = -1;  ///< time of the last picture; -1: the end
};

std::ostream& operator<<(std::ostream& stream, const Row& row) { return stream << row.name; }

constexpr Row kClosed[] = {
    // HLS
    {.name = "hls_ts.m3u8"},
    {.name = "hls_one_segment.m3u8"},
    {.name = "hls_fragments.m3u8"},
    {.name = "hls_mp4_file.m3u8"},
    {.name = "hls_mp4_files.m3u8"},
    {.name = "hls_packed_aac.m3u8"},
    {.name = "hls_packed_mp3.m3u8"},
    {.name = "hls_packed_ac3.m3u8"},
    {.name = "hls_packed_eac3.m3u8"},
    {.name = "hls_packed_alone.m3u8", .hasPicture = false},
    {.name = "hls_byte_ranges_ts.m3u8"},
    {.name = "media_picture.m3u8", .sounds = 0},
    {.name = "media_fragments_v.m3u8", .sounds = 0},
    {.name = "media_fragments_a.m3u8", .hasPicture = false},
    {.name = "hls_byte_ranges_mp4.m3u8"},
    {.name = "hls_map_change.m3u8", .sounds = 0},
    {.name = "hls_codec_change.m3u8", .duration = 5, .sounds = 0},
    {.name = "hls_container_change.m3u8"},
    {.name = "hls_discontinuity.m3u8", .duration = 5},
    {.name = "hls_gap.m3u8", .missingFrom = 1, .missingUntil = 2},
    {.name = "hls_dates.m3u8"},
    {.name = "hls_define.m3u8?kind=ts"},
    {.name = "hls_define_import.m3u8"},
    {.name = "hls_session_data.m3u8"},
    {.name = "hls_steering.m3u8"},
    {.name = "hls_key_frames.m3u8"},
    {.name = "hls_aes.m3u8"},
    {.name = "hls_aes_numbers.m3u8"},
    {.name = "hls_sample_aes.m3u8"},
    {.name = "hls_variants.m3u8"},
    {.name = "hls_sounds.m3u8", .sounds = 2},
    {.name = "hls_unknown_codec.m3u8"},
    {.name = "hls_alternative.m3u8"},
    {.name = "hls_webvtt.m3u8", .texts = 1},
    {.name = "hls_imsc.m3u8", .texts = 1},
    {.name = "hls_captions.m3u8", .texts = 1, .readsText = false},
    {.name = "hls_text_unavailable.m3u8", .texts = 1, .readsText = false},
    {.name = "hls_texts_alone.m3u8", .error = kNoMedia},
    {.name = "hls_twice.m3u8"},
    {.name = "hls_late_picture.m3u8"},
    {.name = "hls_missing_middle.m3u8", .missingFrom = 1, .missingUntil = 2},
    {.name = "hls_missing_end.m3u8", .missingFrom = 2, .missingUntil = 3, .lastPicture = 2},
    {.name = "hls_empty_segment.m3u8", .missingFrom = 1, .missingUntil = 2},
    // DASH
    {.name = "dash_template.mpd"},
    {.name = "dash_inherited.mpd"},
    {.name = "dash_timeline.mpd"},
    {.name = "dash_time.mpd"},
    {.name = "dash_negative_repeat.mpd"},
    {.name = "dash_list.mpd"},
    {.name = "dash_ranges.mpd"},
    {.name = "dash_index.mpd"},
    {.name = "dash_files.mpd"},
    {.name = "dash_whole_file.mpd"},
    {.name = "dash_muxed.mpd"},
    {.name = "dash_webm.mpd"},
    {.name = "dash_periods.mpd", .duration = 4},
    {.name = "dash_period_codecs.mpd", .duration = 4},
    {.name = "dash_period_silent.mpd", .duration = 4},
    {.name = "dash_period_cut.mpd"},
    {.name = "dash_period_empty.mpd"},
    {.name = "dash_offset_inside.mpd", .duration = 2.6},
    {.name = "dash_twice.mpd"},
    {.name = "dash_variants.mpd"},
    {.name = "dash_base_urls.mpd"},
    {.name = "dash_events.mpd"},
    {.name = "dash_roles.mpd", .sounds = 2},
    {.name = "dash_sounds.mpd", .sounds = 4},
    {.name = "dash_unknown_essential.mpd"},
    {.name = "dash_octet_stream.mpd"},
    {.name = "dash_wvtt.mpd", .texts = 1},
    {.name = "dash_stpp.mpd", .texts = 1},
    {.name = "dash_webvtt.mpd", .texts = 1},
    {.name = "dash_ttml.mpd", .texts = 1},
    {.name = "dash_whole_encrypted.mpd"},
    {.name = "dash_cenc.mpd"},
    {.name = "dash_cbcs.mpd"},
    {.name = "dash_clear_first.mpd", .duration = 4},
    {.name = "dash_clear_first.mpd?refused", .duration = 4, .error = kNoKey, .isKeyRefused = true},
    {.name = "dash_cenc.mpd?refused", .error = kNoKey, .isKeyRefused = true},
    {.name = "dash_long_tag.mpd"},
    {.name = "dash_comment_first.mpd"},
    {.name = "dash_no_bandwidth.mpd"},
    {.name = "dash_missing_middle.mpd", .missingFrom = 1, .missingUntil = 2},
    {.name = "dash_missing_both.mpd", .missingFrom = 1, .missingUntil = 2},
    {.name = "dash_missing_end.mpd", .lastPicture = 2},
    {.name = "dash_missing_sound.mpd"},
};

constexpr Row kLive[] = {
    {.name = "window.m3u8"},      {.name = "event.m3u8"}, {.name = "delta.m3u8"},
    {.name = "low_latency.m3u8"}, {.name = "full.mpd"},   {.name = "patch.mpd"},
    {.name = "clock.mpd"},
};
constexpr double kLiveSeconds = 8;

class KeyedItem final : public TVSURLMediaItem {
 public:
  KeyedItem(std::string url, bool refuses)
      : TVSURLMediaItem(std::move(url), {}), _refuses(refuses) {}
  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override {
    platform::ResourceResponse response;
    platform::Bytes key;
    for (int byte = 0; byte < 16 && !_refuses; ++byte)
      key.push_back(static_cast<std::byte>(byte * 0x11));
    response.data = std::make_shared<const platform::Bytes>(std::move(key));
    request->finishLoading(response);
  }

 private:
  const bool _refuses;
};

class Presentations : public testing::TestWithParam<Row> {
 protected:
  /// Plays to the end or to an error, and checks the position meanwhile.
  void play(double rate) {
    position = harness.engine().position();
    seenAt = clock.now();
    harness.call([&](platform::MediaEngine& engine) { engine.play(rate); });
    const bool isOver = harness.waitUntil(
        [&] {
          watch(rate);
          return harness.count("end") > 0 || harness.error();
        },
        kLimit);
    ASSERT_TRUE(isOver) << "stuck at " << position;
    EXPECT_EQ(jumps, "");
  }
  void watch(double rate) {
    const Row& row = GetParam();
    const double last = std::exchange(position, harness.engine().position());
    const auto elapsed = clock.now() - std::exchange(seenAt, clock.now());
    const bool isOverGap =
        row.missingFrom >= 0 && last > row.missingFrom - 0.5 && position < row.missingUntil + 0.5;
    if (position < last - 0.1 ||
        (!isOverGap && position > last + rate * platform::secondsFromDuration(elapsed) + 0.5))
      jumps += std::to_string(last) + " to " + std::to_string(position) + " ";
    if (const auto frame = harness.frame()) {
      picture = std::max(picture, frame->time);
      if (frame->subtitles) texts.insert(frame->subtitles->textAt(frame->time));
    }
  }
  int tracks(std::string_view kind) {
    const auto& all = harness.engine().facts().tracks;
    return static_cast<int>(std::count_if(
        all.begin(), all.end(), [&](const auto& track) { return track.mediaType == kind; }));
  }
  std::vector<platform::MediaSelectionOption> textOptions() {
    for (const auto& group : harness.engine().facts().selectionGroups)
      if (group.characteristic == platform::kMediaCharacteristicLegible) return group.options;
    return {};
  }
  void selectText() {
    const auto options = textOptions();
    ASSERT_FALSE(options.empty());
    harness.call([&](platform::MediaEngine& engine) {
      engine.selectOption("legible", options[0].identifier);
    });
    ASSERT_TRUE(harness.waitForEvent("select legible"));
  }

  static constexpr std::chrono::seconds kLimit{20};
  EngineHarness harness;
  platform::SystemClock clock;
  double position = 0;
  platform::TimePoint seenAt;
  std::string jumps;
  double picture = -1;  // time of the newest picture
  std::set<std::string> texts;
};

class ClosedPresentations : public Presentations {};
class LivePresentations : public Presentations {};

TEST_P(ClosedPresentations, PlayToTheEnd) {
  const Row& row = GetParam();
  platform::MediaLoad load;
  load.playing = false;
  const std::string url = TestMedia::shared().presentation(row.name);
  load.item = std::make_shared<KeyedItem>(url, row.isKeyRefused);
  harness.load(url, load);
  ASSERT_TRUE(
      harness.waitUntil([&] { return harness.count("ready") > 0 || harness.error(); }, kLimit));
  if (!harness.error()) {
    // Without codecs in the manifest the tracks are known after the first segment.
    harness.waitUntil([&] { return tracks("audio") == row.sounds; }, kLimit);
    EXPECT_EQ(tracks("video"), row.hasPicture ? 1 : 0);
    EXPECT_EQ(tracks("audio"), row.sounds);
    EXPECT_EQ(textOptions().size(), static_cast<std::size_t>(row.texts));
    EXPECT_NEAR(harness.engine().facts().duration, row.duration, 0.2);
    if (row.texts > 0) selectText();
    // At normal rate if a text has to be seen.
    play(row.texts > 0 ? 1 : 2);
  }
  ASSERT_EQ(harness.error() ? harness.error()->code : 0, row.error)
      << harness.error()->description();
  if (row.error != 0) return;
  const double duration = harness.engine().facts().duration;
  EXPECT_NEAR(duration, row.duration, 0.2);
  EXPECT_NEAR(harness.engine().position(), duration, 0.15);
  if (row.hasPicture) {
    // A busy machine may drop the last pictures. A segment is a second long.
    EXPECT_NEAR(picture, row.lastPicture < 0 ? row.duration : row.lastPicture, 0.6);
  }
  if (row.texts > 0 && row.readsText) {
    EXPECT_TRUE(texts.contains("Ende"));
  }
  EXPECT_EQ(harness.misplacedEvents(), 0);
}

TEST_P(LivePresentations, PlayUntilTheyHaveEnded) {
  const Row& row = GetParam();
  harness.load(TestMedia::shared().presentation(row.name, true), {});
  ASSERT_TRUE(
      harness.waitUntil([&] { return harness.count("play 1") > 0 || harness.error(); }, kLimit));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  EXPECT_TRUE(harness.engine().facts().live);
  EXPECT_EQ(tracks("video"), 1);
  EXPECT_EQ(tracks("audio"), 1);
  EXPECT_GT(harness.engine().position(), 0.5) << "starts near the live edge";
  play(1);
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  EXPECT_NEAR(harness.engine().position(), kLiveSeconds, 0.2);
  EXPECT_NEAR(picture, kLiveSeconds, 0.3);
  EXPECT_EQ(harness.misplacedEvents(), 0);
}

std::string rowName(const testing::TestParamInfo<Row>& row) {
  std::string name = row.param.name;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, ClosedPresentations, testing::ValuesIn(kClosed), rowName);
INSTANTIATE_TEST_SUITE_P(All, LivePresentations, testing::ValuesIn(kLive), rowName);

}  // namespace
}  // namespace testing_media
