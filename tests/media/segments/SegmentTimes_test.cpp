#include <algorithm>

#include <gmock/gmock.h>

#include "media/segments/StreamClock.h"
#include "tests/media/TestMedia.h"
#include "tests/media/segments/FakeTrack.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_media::TestMedia;
using testing_segments::cut;
using testing_segments::CutMovie;
using testing_segments::demuxed;
using testing_segments::DemuxerOutput;
using testing_segments::FakeTrack;
using testing_segments::fileContent;

/// A video of three seconds whose first time stamp is `start`.
std::string pictureFrom(const std::string& start) {
  const std::string name = "from" + start + ".ts";
  static_cast<void>(TestMedia::shared().url(
      name, "-map 0 -c:v libx264 -preset ultrafast -bf 2 -muxdelay 0 -output_ts_offset " + start));
  return fileContent(TestMedia::shared().path(name));
}
std::string tone() {
  static_cast<void>(TestMedia::shared().url("times.aac", "-map 1 -c:a aac"));
  return fileContent(TestMedia::shared().path("times.aac"));
}

void expectPictures(const std::vector<DemuxerOutput::Packet>& packets, double first) {
  std::vector<double> times;
  for (const DemuxerOutput::Packet& packet : packets) times.push_back(packet.pts);
  std::sort(times.begin(), times.end());
  for (std::size_t index = 0; index < times.size(); ++index)
    ASSERT_NEAR(times[index], first + 0.04 * static_cast<double>(index), 1e-4) << index;
}

TEST(SegmentTimes, ContinueAcrossWrapAroundAndJumps) {
  // The time stamps wrap around at 95443.7 s.
  struct Case {
    const char* name;
    const char* starts[2];
  } cases[] = {{"continuous", {"10", "13"}},
               {"wrapping", {"95442", "95445"}},
               {"jumping", {"10", "5000"}},
               {"jumping back", {"5000", "10"}}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const auto track = std::make_shared<FakeTrack>();
    for (const char* start : each.starts) track->add(pictureFrom(start), 3);
    const DemuxerOutput output = demuxed(track);
    EXPECT_EQ(output.video.size(), 150U);
    EXPECT_THAT(output.gaps, IsEmpty());
    expectPictures(output.video, 0);
  }
}

TEST(SegmentTimes, FollowTheManifest) {
  const auto track = std::make_shared<FakeTrack>();
  track->representation->timeOffset = -8.0;
  track->end = 2;
  track->add(pictureFrom("10"), 3);
  expectPictures(demuxed(track).video, 2);

  // Pictures before the start of the presentation are decoded, but not shown.
  const auto early = std::make_shared<FakeTrack>();
  early->representation->timeOffset = -11.0;
  early->add(pictureFrom("10"), 3);
  const DemuxerOutput output = demuxed(early);
  EXPECT_EQ(output.video.size(), 75U);
  for (const DemuxerOutput::Packet& packet : output.video)
    EXPECT_EQ(packet.isHidden, &packet < &output.video[25] && packet.pts == 0) << packet.pts;
}

TEST(SegmentTimes, TracksShareAClock) {
  const auto offsets = std::make_shared<media::TimestampOffsets>();
  const int picture = offsets->addTrack();
  const int sound = offsets->addTrack();
  streaming::Segment first;
  first.start = 6;
  EXPECT_EQ(offsets->known(picture, first), std::nullopt);
  EXPECT_EQ(offsets->offsetFor(picture, first, 100), -94);
  EXPECT_EQ(offsets->offsetFor(sound, first, 99.9), -94);
  streaming::Segment later = first;
  later.start = 12;
  EXPECT_EQ(offsets->offsetFor(picture, later, 106.5), -94);
  // A track with another clock.
  const int commentary = offsets->addTrack();
  EXPECT_EQ(offsets->offsetFor(commentary, first, 0), 6);
  EXPECT_EQ(offsets->known(commentary, later), 6);
  EXPECT_EQ(offsets->known(sound, later), -94);
  later.discontinuity = 1;
  EXPECT_EQ(offsets->known(sound, later), std::nullopt);
  EXPECT_EQ(offsets->offsetFor(sound, later, 0), 12);
}

std::string bigEndian(std::uint64_t value, unsigned size) {
  std::string result;
  while (size-- > 0) result.push_back(static_cast<char>(value >> 8 * size & 0xff));
  return result;
}

std::string frameOf(const std::string& name, const std::string& content) {
  return name + bigEndian(content.size(), 4) + std::string(2, '\0') + content;
}

std::string tagOfFrames(const std::string& frames) {
  const std::size_t size = frames.size();
  return std::string("ID3\4\0\0\0\0", 8) + static_cast<char>(size >> 7 & 0x7f) +
         static_cast<char>(size & 0x7f) + frames;
}

std::string timestampFrame(std::uint64_t ticks) {
  return frameOf("PRIV", std::string("com.apple.streaming.transportStreamTimestamp") + '\0' +
                             bigEndian(ticks, 8));
}

TEST(SegmentTimes, PackedAudioTakesThemFromItsID3Tag) {
  const std::string title = frameOf("TIT2", "\3Now");
  const auto track = std::make_shared<FakeTrack>();
  track->end = 4;
  track->add(tagOfFrames(timestampFrame((std::uint64_t{1} << 33) - 90000)) + tone(), 3);
  // Half a second late, and after the wrap-around.
  track->add(tagOfFrames(timestampFrame(225000) + title) + tone(), 3);
  const DemuxerOutput output = demuxed(track);
  ASSERT_EQ(output.audio.size() % 2, 0U);
  const std::size_t half = output.audio.size() / 2;
  for (std::size_t index = 0; index < half; ++index) {
    const double within = static_cast<double>(index) * 1024 / 44100;
    ASSERT_NEAR(output.audio[index].pts, 4 + within, 2e-9);
    ASSERT_NEAR(output.audio[half + index].pts, 7.5 + within, 2e-9);
  }
  ASSERT_EQ(output.tags.size(), 1U);
  EXPECT_EQ(output.tags[0].first, 7);
  EXPECT_THAT(output.tags[0].second, HasSubstr("Now"));
}

TEST(SegmentTimes, PackedAudioWithoutATagContinues) {
  const auto track = std::make_shared<FakeTrack>();
  // 130 frames are 3.0186 s.
  track->add(tone(), 3).isDiscontinuous = true;
  track->add(tone(), 3);
  track->end = 20;
  track->add(tone(), 3);
  const DemuxerOutput output = demuxed(track);
  ASSERT_EQ(output.audio.size() % 3, 0U);
  const std::size_t count = output.audio.size() / 3;
  EXPECT_NEAR(output.audio[count].pts, static_cast<double>(count) * 1024 / 44100, 1e-6);
  EXPECT_EQ(output.audio[2 * count].pts, 20);
}

TEST(SegmentTimes, EventMessagesAreFound) {
  static_cast<void>(TestMedia::shared().url("fragmented.mp4"));
  const CutMovie movie = cut(fileContent(TestMedia::shared().path("fragmented.mp4")));
  const std::string event = bigEndian(20, 4) + "emsg" + "twelve bytes";
  const auto track = std::make_shared<FakeTrack>();
  track->add(movie.initialization, event + movie.fragments[0], 1);
  track->add(movie.initialization, movie.fragments[1] + event, 1);
  EXPECT_THAT(demuxed(track).events, ElementsAre(event, event));
}

TEST(SegmentTimes, DoNotDriftByRounding) {
  media::StreamClock clock;
  const media::SegmentTiming timing{.start = 0, .duration = 4'000'000'000'000, .offset = 0};
  for (std::int64_t index : {0, 1, 2, 3, 100'000})
    EXPECT_EQ(
        clock.timesOf({.pts = index * 1001, .duration = 1001, .base = {1, 30000}}, timing).pts,
        static_cast<GstClockTime>((index * 1001 * 1'000'000'000 + 15000) / 30000));
  EXPECT_EQ(media::unwrapped(5, (std::int64_t{1} << 33) - 5, 33), (std::int64_t{1} << 33) + 5);
  EXPECT_EQ(media::unwrapped((std::int64_t{1} << 33) - 5, 5, 33), -5);
}

}  // namespace
