#include "media/segments/TextSegments.h"

#include <gmock/gmock.h>

#include "media/segments/TimestampOffsets.h"
#include "tests/media/TestMedia.h"
#include "tests/media/segments/FakeTrack.h"

namespace {

using streaming::TextFormat;
using streaming::TrackPiece;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing_media::TestMedia;
using testing_segments::completeBytes;
using testing_segments::FakeTrack;

using Starts = std::vector<std::pair<double, std::string>>;

Starts startsOf(const std::vector<media::SubtitleCue>& cues) {
  Starts starts;
  for (const auto& cue : cues) starts.emplace_back(cue.start, cue.text);
  return starts;
}

TrackPiece textPiece(TextFormat form, std::string_view text, double start, double duration,
                     std::optional<double> offset = {}) {
  FakeTrack track;
  track.representation->textFormat = form;
  track.representation->timeOffset = offset;
  track.end = start;
  track.add(text, duration);
  return track.pieces.front();
}

struct TimeCase {
  const char* name;
  const char* text;
  double start;                    ///< start of the segment
  std::optional<double> offset;    ///< offset in the manifest
  std::optional<double> clock;     ///< offset of audio and video
  std::optional<double> expected;  ///< start of the only cue; unset: it is not returned yet
};

class TextSegmentTimes : public testing::TestWithParam<TimeCase> {};

TEST_P(TextSegmentTimes, AreConvertedToPresentationTimes) {
  const TimeCase& place = GetParam();
  const auto offsets = std::make_shared<media::TimestampOffsets>();
  const TrackPiece piece = textPiece(TextFormat::WebVTT, place.text, place.start, 6, place.offset);
  if (place.clock)
    offsets->offsetFor(offsets->addTrack(), piece.segment, place.start - *place.clock);
  const auto starts = startsOf(media::TextSegments(offsets).read(piece));
  if (place.expected)
    EXPECT_THAT(starts, ElementsAre(Pair(DoubleNear(*place.expected, 1e-6), "A")));
  else
    EXPECT_THAT(starts, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    TextSegments, TextSegmentTimes,
    testing::Values(
        TimeCase{"mapped",
                 "WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:01.500,MPEGTS:900000\n\n"
                 "00:02.000 --> 00:03.000\nA\n",
                 60,
                 {},
                 52.0,
                 62.5},
        TimeCase{"mapped_with_mpegts_first",
                 "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:900000,LOCAL:00:00:00.000\n\n"
                 "00:02.000 --> 00:03.000\nA\n",
                 60,
                 {},
                 50.0,
                 62},
        TimeCase{"wrapped",
                 "WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:0\n\n"
                 "00:02.000 --> 00:03.000\nA\n",
                 60,
                 {},
                 60 - 8589934592.0 / 90000,
                 62},
        TimeCase{"without_map", "WEBVTT\n\n01:02.000 --> 01:03.000\nA\n", 60, {}, -1.0, 61},
        TimeCase{"relative_to_the_presentation",
                 "WEBVTT\n\n01:02.000 --> 01:03.000\nA\n",
                 60,
                 {},
                 -10.0,
                 62},
        TimeCase{
            "relative_to_the_segment", "WEBVTT\n\n00:02.000 --> 00:03.000\nA\n", 60, {}, {}, 62},
        TimeCase{"offset_of_a_period", "WEBVTT\n\n00:02.000 --> 00:03.000\nA\n", 60, 61.0, {}, 63},
        TimeCase{"before_the_offset_is_known",
                 "WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:900000\n\n"
                 "10:02.000 --> 10:03.000\nA\n",
                 60,
                 {},
                 {},
                 {}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(TextSegments, ReadsWaitingPiecesOnceTheOffsetIsKnown) {
  const auto offsets = std::make_shared<media::TimestampOffsets>();
  media::TextSegments texts(offsets);
  const TrackPiece first =
      textPiece(TextFormat::WebVTT, "WEBVTT\n\n10:02.000 --> 10:03.000\nA\n", 60, 6);
  const TrackPiece second =
      textPiece(TextFormat::WebVTT, "WEBVTT\n\n10:08.000 --> 10:09.000\nB\n", 66, 6);
  EXPECT_THAT(texts.read(first), IsEmpty());
  offsets->offsetFor(offsets->addTrack(), first.segment, 600);
  EXPECT_THAT(startsOf(texts.read(second)), ElementsAre(Pair(62, "A"), Pair(68, "B")));
}

TEST(TextSegments, ReadsOtherFormatsAndIgnoresUnknownOnes) {
  const auto read = [](TextFormat form, std::string_view text) {
    return startsOf(media::TextSegments(nullptr).read(textPiece(form, text, 0, 6, 0.5)));
  };
  EXPECT_THAT(read(TextFormat::TTML,
                   "<tt xmlns=\"http://www.w3.org/ns/ttml\"><body><div>"
                   "<p begin=\"1s\" end=\"2s\">A</p></div></body></tt>"),
              ElementsAre(Pair(1.5, "A")));
  EXPECT_THAT(read(TextFormat::SubRip, "1\n00:00:01,000 --> 00:00:02,000\nA\n"),
              ElementsAre(Pair(1.5, "A")));
  for (const TextFormat form : {TextFormat::WebVTT, TextFormat::TTML, TextFormat::MP4})
    for (const std::string_view text : {"", "<html>", "WEBVTT", "\x00\x00\x00\x20moof"})
      EXPECT_THAT(read(form, text), IsEmpty());
}

std::string box4(std::string_view type, std::string_view content) {
  const std::size_t size = content.size() + 8;
  std::string result;
  for (const unsigned shift : {24U, 16U, 8U, 0U})
    result.push_back(static_cast<char>(size >> shift & 0xff));
  return result.append(type).append(content);
}

std::string number(std::uint32_t value) {
  std::string result;
  for (const unsigned shift : {24U, 16U, 8U, 0U})
    result.push_back(static_cast<char>(value >> shift & 0xff));
  return result;
}

/// A text track in fragmented MP4 with a timescale of 1000 and samples of one second.
TrackPiece samplePiece(const std::string& entry, const std::string& handler, double base,
                       const std::vector<std::string>& samples) {
  const auto zeros = [](std::size_t count) { return std::string(count, '\0'); };
  const std::string header = number(0) + zeros(8) + number(1) + zeros(4) + number(0) + zeros(60);
  const std::string media =
      box4("mdhd", number(0) + zeros(8) + number(1000) + number(0) + zeros(4)) +
      box4("hdlr", zeros(8) + handler + zeros(13)) +
      box4("minf", box4("stbl", box4("stsd", number(0) + number(1) + entry) +
                                    box4("stts", zeros(8)) + box4("stsc", zeros(8)) +
                                    box4("stsz", zeros(12)) + box4("stco", zeros(8))));
  const std::string initialization =
      box4("ftyp", "iso6" + number(0) + "iso6") +
      box4("moov", box4("mvhd", number(0) + zeros(8) + number(1000) + zeros(84)) +
                       box4("trak", box4("tkhd", header) + box4("mdia", media)) +
                       box4("mvex", box4("trex", number(0) + number(1) + number(1) + number(1000) +
                                                     zeros(8))));
  std::string sizes;
  std::string content;
  for (const std::string& sample : samples) {
    sizes += number(static_cast<std::uint32_t>(sample.size()));
    content += sample;
  }
  const auto fragment = [&](std::size_t size) {
    return box4(
        "moof",
        box4("mfhd", zeros(8)) +
            box4("traf",
                 box4("tfhd", number(0x20000) + number(1)) +
                     box4("tfdt", number(0) + number(static_cast<std::uint32_t>(base))) +
                     box4("trun", number(0x201) +
                                      number(static_cast<std::uint32_t>(samples.size())) +
                                      number(static_cast<std::uint32_t>(size + 8)) + sizes)));
  };
  TrackPiece piece =
      textPiece(TextFormat::MP4, fragment(fragment(0).size()) + box4("mdat", content), 20, 6, 15);
  piece.initialization = completeBytes(initialization);
  return piece;
}

TEST(TextSegments, ReadsSamplesOfMP4) {
  const std::string wvtt =
      box4("wvtt", std::string(6, '\0') + std::string("\0\1", 2) + box4("vttC", "WEBVTT\n"));
  const auto cue = [](std::string_view text) {
    return box4("vttc", box4("iden", "1") + box4("sttg", "line:0") + box4("payl", text));
  };
  const auto cues = media::TextSegments(nullptr).read(
      samplePiece(wvtt, "text", 5000, {cue("A"), box4("vtte", ""), cue("B") + cue("C")}));
  EXPECT_THAT(startsOf(cues), ElementsAre(Pair(20, "A"), Pair(22, "B"), Pair(22, "C")));
  ASSERT_FALSE(cues.empty());
  EXPECT_EQ(cues[0].duration, 1);

  const std::string stpp = box4("stpp", std::string(6, '\0') + std::string("\0\1\0\0\0", 5));
  const auto document = [](std::string_view begin) {
    return "<tt xmlns=\"http://www.w3.org/ns/ttml\"><body><div><p begin=\"" + std::string(begin) +
           "\" end=\"100s\">A</p></div></body></tt>";
  };
  // The times of the second document are relative to its sample.
  EXPECT_THAT(startsOf(media::TextSegments(nullptr).read(
                  samplePiece(stpp, "subt", 5000, {document("5.25s"), document("0.5s")}))),
              ElementsAre(Pair(20.25, "A"), Pair(21, "A")));
}

}  // namespace
