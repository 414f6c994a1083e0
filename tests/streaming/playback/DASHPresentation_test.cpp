#include <gtest/gtest.h>

#include "tests/streaming/playback/PlaybackFixture.h"

namespace streaming::test {
namespace {

std::string mpd(const std::string& content, const std::string& attributes) {
  return "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" " + attributes + ">" +
         content + "</MPD>";
}

const std::string kStatic = "type=\"static\" mediaPresentationDuration=\"PT80S\"";

/// Video in two sizes and audio with SegmentTemplate. Segments are "PREFIX-ID/NUMBER".
std::string tracksOf(const std::string& prefix) {
  const std::string segments = "<SegmentTemplate media=\"" + prefix +
                               "-$RepresentationID$/$Number$\" initialization=\"" + prefix +
                               "-$RepresentationID$/init\" duration=\"4\"/>";
  return "<AdaptationSet mimeType=\"video/mp4\" codecs=\"avc1.4d401f\">" + segments +
         "<Representation id=\"low\" bandwidth=\"500000\" height=\"360\"/>"
         "<Representation id=\"high\" bandwidth=\"1500000\" height=\"720\"/></AdaptationSet>"
         "<AdaptationSet mimeType=\"audio/mp4\" codecs=\"mp4a.40.2\" lang=\"en\">" +
         segments + "<Representation id=\"sound\" bandwidth=\"96000\"/></AdaptationSet>";
}

void addEverything(PlaybackFixture& fixture) {
  fixture.network->setFallback([](const TransferRequest& request) {
    std::optional<ScriptedTransfers::Resource> found;
    if (request.url.find("gone") != request.url.npos) return found;
    found.emplace();
    found->body = std::string(1000, 'a');
    return found;
  });
}

TEST(DASHPresentation, LoadsVideoAndAudioInParallel) {
  PlaybackFixture fixture(mpd("<Period>" + tracksOf("a") + "</Period>", kStatic),
                          ManifestType::DASH);
  addEverything(fixture);
  fixture.throughput->setInitialEstimate(1e8);
  fixture.prepare({30, {}, {}});
  EXPECT_FALSE(fixture.error);
  EXPECT_EQ(fixture.began, 30);
  EXPECT_EQ(fixture.read(MediaKind::Video, 2), (Lines{"a-high/8", "a-high/9"}));
  EXPECT_EQ(fixture.read(MediaKind::Audio, 2), (Lines{"a-sound/8", "a-sound/9"}));
  EXPECT_EQ(fixture.network->countOf("http://a/a-high/init"), 1u);
  EXPECT_EQ(fixture.played->timeline(0).duration, 80);
}

std::string bigEndian(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::string box(const std::string& type, const std::string& content) {
  return bigEndian(static_cast<std::uint32_t>(content.size() + 8)) + type + content;
}

/// A file with a sidx of segments of four seconds and 5000 bytes each. `moov`: size of that box.
std::string indexedFile(std::uint32_t count, std::size_t moov) {
  std::string index = bigEndian(0) + bigEndian(1) + bigEndian(1000) + bigEndian(0) + bigEndian(0) +
                      bigEndian(count);
  std::string media;
  for (std::uint32_t i = 0; i < count; ++i) {
    index += bigEndian(5000) + bigEndian(4000) + bigEndian(0x90000000);
    media += std::string(5000, static_cast<char>('a' + i));
  }
  return box("ftyp", "iso6") + box("moov", std::string(moov, 'm')) + box("sidx", index) + media;
}

TEST(DASHPresentation, RequestsRangesOfAnIndexedFile) {
  for (const std::size_t moov : {100, 50'000}) {
    PlaybackFixture fixture(
        mpd("<Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"v\" "
            "bandwidth=\"10000\"><BaseURL>file.mp4</BaseURL><SegmentBase/>"
            "</Representation></AdaptationSet></Period>",
            "type=\"static\" mediaPresentationDuration=\"PT20S\""),
        ManifestType::DASH);
    fixture.network->add("http://a/file.mp4", indexedFile(5, moov));
    fixture.prepare({9, {}, {}});
    EXPECT_FALSE(fixture.error);
    const auto piece = fixture.played->buffer(MediaKind::Video).take();
    ASSERT_TRUE(piece);
    EXPECT_EQ(piece->segment.start, 8);
    EXPECT_EQ(piece->media->copy(), std::string(5000, 'c'));
    ASSERT_TRUE(piece->initialization);
    EXPECT_NE(piece->initialization->copy().find("moov"), std::string::npos);
    EXPECT_EQ(fixture.read().size(), 3u);
  }
}

TEST(DASHPresentation, KeepsTheSelectionAcrossPeriods) {
  PlaybackFixture fixture(mpd("<Period duration=\"PT8S\">" + tracksOf("a") + "</Period><Period>" +
                                  tracksOf("b") + "</Period>",
                              "type=\"static\" mediaPresentationDuration=\"PT16S\""),
                          ManifestType::DASH);
  addEverything(fixture);
  fixture.throughput->setInitialEstimate(1e8);
  fixture.prepare();
  EXPECT_EQ(fixture.read(), (Lines{"a-high/1", "a-high/2", "b-high/1", "b-high/2", "end"}));
  EXPECT_EQ(fixture.read(MediaKind::Audio),
            (Lines{"a-sound/1", "a-sound/2", "b-sound/1", "b-sound/2", "end"}));
  const auto timeline = fixture.played->timeline(3);
  EXPECT_EQ(timeline.duration, 16);
  EXPECT_TRUE(timeline.isLoadedToEnd);
  EXPECT_EQ(timeline.loaded, (std::vector<platform::TimeRange>{{0, 16}}));
}

TEST(DASHPresentation, LoadsRemotePeriodsFirst) {
  PlaybackFixture fixture(
      mpd("<Period xlink:href=\"ads\" xlink:actuate=\"onLoad\"/>"
          "<Period xlink:href=\"urn:mpeg:dash:resolve-to-zero:2013\"/>"
          "<Period start=\"PT8S\" duration=\"PT4S\" xlink:href=\"http://b/gone\">" +
              tracksOf("c") + "</Period>",
          "type=\"static\" mediaPresentationDuration=\"PT12S\""),
      ManifestType::DASH,
      {{"http://a/ads", "<Period duration=\"PT4S\">" + tracksOf("a") +
                            "</Period><Period duration=\"PT4S\">" + tracksOf("b") + "</Period>"}});
  EXPECT_EQ(fixture.played->presentation(), nullptr);
  addEverything(fixture);
  fixture.throughput->setInitialEstimate(1e8);
  fixture.prepare();
  EXPECT_EQ(fixture.read(), (Lines{"a-high/1", "b-high/1", "c-high/1", "end"}));
  EXPECT_EQ(fixture.network->countOf("http://b/gone"), 1u);
}

const std::string kLiveAttributes =
    "type=\"dynamic\" availabilityStartTime=\"2027-01-15T07:58:20Z\" minimumUpdatePeriod=\"PT4S\" "
    "timeShiftBufferDepth=\"PT40S\" suggestedPresentationDelay=\"PT10S\"";

TEST(DASHPresentation, RequestsLiveSegmentsWhenTheyAreAvailable) {
  // The time is 100 seconds after availabilityStartTime.
  const std::string manifest =
      mpd("<Period start=\"PT0S\">" + tracksOf("a") + "</Period>", kLiveAttributes);
  PlaybackFixture fixture(manifest, ManifestType::DASH);
  addEverything(fixture);
  fixture.network->add("http://a/main", manifest);
  fixture.prepare({}, 0.5);
  EXPECT_EQ(fixture.began, 90);
  const auto timeline = fixture.played->timeline(90);
  EXPECT_TRUE(timeline.isLive);
  ASSERT_EQ(timeline.seekable.size(), 1u);
  EXPECT_NEAR(timeline.seekable[0].start, 60.5, 0.6);
  EXPECT_NEAR(timeline.seekable[0].start + timeline.seekable[0].duration, 90.5, 0.6);
  ASSERT_TRUE(timeline.date);
  EXPECT_EQ(timeline.date->secondsSince1970, ScriptedTransfers::kEpoch - 10);
  // The latest segment is from 96 to 100 seconds.
  Lines lines = fixture.read();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back().substr(lines.back().find('/')), "/25");
  EXPECT_EQ(fixture.play(3).size(), 0u);
  EXPECT_EQ(fixture.play(2).size(), 1u);
  lines = fixture.play(20);
  EXPECT_EQ(lines.size(), 5u);
}

TEST(DASHPresentation, UsesTheClockOfTheServer) {
  const std::string manifest =
      mpd("<UTCTiming schemeIdUri=\"urn:mpeg:dash:utc:http-xsdate:2014\" value=\"http://a/time\"/>"
          "<Period start=\"PT0S\">" +
              tracksOf("a") + "</Period>",
          kLiveAttributes);
  PlaybackFixture fixture(manifest, ManifestType::DASH);
  addEverything(fixture);
  fixture.network->add("http://a/time", "2027-01-15T09:00:00Z");
  fixture.prepare({}, 0.5);
  EXPECT_NEAR(fixture.began, 3690, 0.1);
}

std::string timelineOf(int first, int count) {
  return "<Period id=\"1\" start=\"PT0S\"><AdaptationSet mimeType=\"video/mp4\" "
         "codecs=\"avc1.4d401f\">"
         "<SegmentTemplate media=\"t/$Time$\" timescale=\"1\"><SegmentTimeline><S t=\"" +
         std::to_string(first * 4) + "\" d=\"4\" r=\"" + std::to_string(count - 1) +
         "\"/></SegmentTimeline></SegmentTemplate>"
         "<Representation id=\"v\" bandwidth=\"500000\"/></AdaptationSet></Period>";
}

TEST(DASHPresentation, ReloadsTheManifestForMoreSegments) {
  PlaybackFixture fixture(mpd(timelineOf(15, 10), kLiveAttributes), ManifestType::DASH);
  addEverything(fixture);
  fixture.network->add("http://a/main", mpd(timelineOf(16, 10), kLiveAttributes));
  fixture.prepare({}, 0.5);
  EXPECT_FALSE(fixture.error);
  Lines lines = fixture.read();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "t/96");
  EXPECT_EQ(fixture.play(6), Lines{"t/100"});
  fixture.network->add("http://a/main", mpd(timelineOf(18, 10), kLiveAttributes));
  EXPECT_EQ(fixture.play(6), (Lines{"t/104", "t/108"}));
  // The update is a static manifest.
  fixture.network->add("http://a/main",
                       mpd(timelineOf(18, 11),
                           "type=\"static\" availabilityStartTime=\"2027-01-15T07:58:20Z\" "
                           "mediaPresentationDuration=\"PT116S\""));
  lines = fixture.play(10);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "t/112");
  EXPECT_EQ(lines.back(), "end");
  EXPECT_EQ(fixture.played->timeline(0).duration, 116);
}

TEST(DASHPresentation, FailsWhenTheManifestStaysMissing) {
  PlaybackFixture fixture(mpd(timelineOf(15, 10), kLiveAttributes), ManifestType::DASH);
  addEverything(fixture);
  ScriptedTransfers::Resource gone;
  gone.error = statusError(410);
  fixture.network->add("http://a/main", gone);
  fixture.prepare({}, 0.5);
  const Lines lines = fixture.play(60);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "failed 410");
}

}  // namespace
}  // namespace streaming::test
