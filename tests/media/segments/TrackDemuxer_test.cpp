#include "media/segments/TrackDemuxer.h"

#include <algorithm>
#include <cmath>

#include <gmock/gmock.h>

#include "tests/media/TestMedia.h"
#include "tests/media/segments/FakeTrack.h"

namespace {

using media::TrackDemuxer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing_media::TestMedia;
using testing_segments::clipBytes;
using testing_segments::completeBytes;
using testing_segments::cut;
using testing_segments::CutMovie;
using testing_segments::demuxed;
using testing_segments::DemuxerOutput;
using testing_segments::FakeTrack;
using testing_segments::fileContent;

/// A segment of one second with video and audio.
std::string transportSegment(int index) {
  static_cast<void>(TestMedia::shared().url("dated.m3u8"));
  return fileContent(TestMedia::shared().path("dated" + std::to_string(index) + ".ts"));
}

std::vector<double> shownTimes(const std::vector<DemuxerOutput::Packet>& packets) {
  std::vector<double> times;
  for (const DemuxerOutput::Packet& packet : packets) times.push_back(packet.pts);
  std::sort(times.begin(), times.end());
  return times;
}

void expectEvenly(const std::vector<DemuxerOutput::Packet>& packets, double first, double step,
                  double tolerance) {
  const std::vector<double> times = shownTimes(packets);
  for (std::size_t index = 0; index < times.size(); ++index)
    ASSERT_NEAR(times[index], first + step * static_cast<double>(index), tolerance) << index;
}

TEST(TrackDemuxer, ReadsConsecutiveTransportSegmentsAsOneStream) {
  const auto track = std::make_shared<FakeTrack>();
  for (int index = 0; index < 3; ++index) track->add(transportSegment(index), 1);
  const DemuxerOutput output = demuxed(track);
  EXPECT_TRUE(output.hasEnded);
  EXPECT_TRUE(track->content.hasVideo && track->content.hasAudio);
  EXPECT_EQ(output.video.size(), 75U);
  EXPECT_THAT(output.videoCaps,
              ElementsAre(HasSubstr("video/x-h264, stream-format=(string)byte-stream, "
                                    "alignment=(string)au")));
  EXPECT_THAT(output.audioCaps, ElementsAre(HasSubstr("stream-format=(string)adts")));
  expectEvenly(output.video, 0, 0.04, 1e-6);
  EXPECT_GT(output.audio.size(), 126U);
  expectEvenly(output.audio, output.audio.front().pts, 1024 / 44100., 2e-3);
  EXPECT_TRUE(output.video.front().isDiscontinuous);
  EXPECT_EQ(std::count_if(output.video.begin(), output.video.end(),
                          [](const auto& packet) { return packet.isDiscontinuous; }),
            1);
  EXPECT_EQ(std::count_if(output.video.begin(), output.video.end(),
                          [](const auto& packet) { return packet.isKey; }),
            3);
}

TEST(TrackDemuxer, ReadsEachFragmentAsASeparateFile) {
  const CutMovie movie = cut(clipBytes("fragmented.mp4"));
  ASSERT_EQ(movie.fragments.size(), 3U);
  const auto track = std::make_shared<FakeTrack>();
  for (const std::string& fragment : movie.fragments) track->add(movie.initialization, fragment, 1);
  const DemuxerOutput output = demuxed(track);
  EXPECT_TRUE(output.hasEnded);
  EXPECT_EQ(output.video.size(), 75U);
  EXPECT_THAT(output.videoCaps,
              ElementsAre(testing::AllOf(HasSubstr("stream-format=(string)avc"),
                                         HasSubstr("codec_data=(buffer)01"),
                                         HasSubstr("width=(int)320, height=(int)180"))));
  EXPECT_THAT(output.audioCaps, ElementsAre(testing::AllOf(HasSubstr("stream-format=(string)raw"),
                                                           HasSubstr("codec_data=(buffer)"),
                                                           HasSubstr("rate=(int)44100"))));
  // The first picture also covers the time before it, in which audio has already begun.
  EXPECT_NEAR(output.video.front().pts, 0, 1e-9);
  EXPECT_NEAR(output.video.back().pts, 74 * 0.04 + 1024 / 44100., 1e-4);
}

/// A segment of which only a window is in memory; the server supports ranges.
class LongSegment {
 public:
  explicit LongSegment(std::string content) : _content(std::move(content)) {
    bytes->setTotal(_content.size(), true);
    bytes->setSource([this] { _send(); });
    _send();
  }
  ~LongSegment() { bytes->setSource({}); }

  const std::shared_ptr<streaming::SegmentBytes> bytes =
      std::make_shared<streaming::SegmentBytes>(streaming::SegmentBytes::Limits{
          .whole = 1000, .ahead = 20'000, .behind = 4000, .near = 2000});
  std::uint64_t sent = 0;

 private:
  void _send() {
    if (const auto wanted = bytes->requestedOffset()) bytes->restart(_place = *wanted);
    while (_place < _content.size() && !bytes->isFull()) {
      const std::string piece = _content.substr(static_cast<std::size_t>(_place), 1000);
      bytes->append(piece);
      _place += piece.size();
      sent += piece.size();
    }
    if (_place == _content.size()) bytes->complete();
  }

  const std::string _content;
  std::uint64_t _place = 0;
};

TEST(TrackDemuxer, SeeksWithinALongSegment) {
  const std::string options = "-map 0 -c:v libx264 -preset ultrafast -g 25 ";
  const std::string transport = transportSegment(0) + transportSegment(1) + transportSegment(2);
  const struct {
    const char* name;
    std::string content;
    double begin;  ///< where reading begins after a seek to 2.5 s
  } cases[] = {
      {"index at the end", clipBytes("last.mp4", options.c_str()), 2},
      {"index at the beginning", clipBytes("first.mp4", (options + "-movflags faststart").c_str()),
       2},
      // Reading begins some seconds before the position.
      {"a transport stream", transport, 0},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    ASSERT_GT(each.content.size(), 60'000U);
    for (const bool isSought : {false, true}) {
      LongSegment segment(each.content);
      const auto track = std::make_shared<FakeTrack>();
      track->end = 10;
      track->add("", 3).media = segment.bytes;
      if (isSought) track->pieces.back().seekPosition = 12.5;
      const DemuxerOutput output = demuxed(track);
      EXPECT_TRUE(output.hasEnded);
      EXPECT_TRUE(output.gaps.empty());
      const double begin = isSought ? each.begin : 0;
      EXPECT_EQ(output.video.size(), 75 - static_cast<std::size_t>(begin * 25));
      ASSERT_FALSE(output.video.empty());
      EXPECT_TRUE(output.video.front().isKey);
      EXPECT_NEAR(output.video.front().pts, 10 + begin, 0.05);
    }
  }
}

struct FormatCase {
  const char* file;
  const char* options;
  bool isPicture;
  std::vector<const char*> caps;
  double step;  ///< seconds between packets
  double tolerance = 2e-3;
};

class EveryFormat : public testing::TestWithParam<FormatCase> {};

TEST_P(EveryFormat, HasCapsAndTimes) {
  const FormatCase& format = GetParam();
  const auto track = std::make_shared<FakeTrack>();
  const std::string content = clipBytes(format.file, format.options);
  track->end = 20;
  track->add(content, 3);
  track->add(content, 3).isDiscontinuous = true;
  track->pieces.back().segment.discontinuity = 1;
  const DemuxerOutput output = demuxed(track);
  EXPECT_TRUE(output.hasEnded);
  EXPECT_TRUE(output.gaps.empty());
  EXPECT_EQ(track->content.hasVideo, format.isPicture);
  EXPECT_NE(track->content.hasAudio, format.isPicture);
  const auto& caps = format.isPicture ? output.videoCaps : output.audioCaps;
  ASSERT_EQ(caps.size(), 1U);
  for (const char* each : format.caps) EXPECT_THAT(caps[0], HasSubstr(each));
  auto packets = format.isPicture ? output.video : output.audio;
  ASSERT_EQ(packets.size() % 2, 0U);
  const auto half = packets.begin() + static_cast<std::ptrdiff_t>(packets.size() / 2);
  const std::vector second(half, packets.end());
  EXPECT_TRUE(second.front().isDiscontinuous);
  packets.erase(half, packets.end());
  EXPECT_NEAR(static_cast<double>(packets.size()) * format.step, 3, 0.2);
  expectEvenly(packets, 20, format.step, format.tolerance);
  expectEvenly(second, 23, format.step, format.tolerance);
}

INSTANTIATE_TEST_SUITE_P(
    TrackDemuxer, EveryFormat,
    testing::Values(
        FormatCase{"format.aac",
                   "-map 1 -c:a aac",
                   false,
                   {"audio/mpeg, mpegversion=(int)4", "stream-format=(string)adts"},
                   1024 / 44100.},
        FormatCase{"format.mp3",
                   "-map 1 -c:a libmp3lame",
                   false,
                   {"mpegversion=(int)1, layer=(int)3"},
                   1152 / 44100.},
        FormatCase{"format.ac3", "-map 1 -c:a ac3 -ar 48000", false, {"audio/x-ac3"}, 0.032},
        FormatCase{"format.eac3", "-map 1 -c:a eac3 -ar 48000", false, {"audio/x-eac3"}, 0.032},
        FormatCase{"format.flac",
                   "-map 1 -c:a flac",
                   false,
                   {"audio/x-flac", "streamheader=(buffer)< 664c6143, 80000022"},
                   4608 / 44100.},
        FormatCase{"vp9.webm",
                   "-map 0 -c:v libvpx-vp9 -cpu-used 8 -deadline realtime",
                   true,
                   {"video/x-vp9", "width=(int)320, height=(int)180"},
                   0.04},
        FormatCase{
            "vp8.webm", "-map 0 -c:v libvpx -deadline realtime", true, {"video/x-vp8"}, 0.04},
        FormatCase{"opus.webm",
                   "-map 1 -c:a libopus",
                   false,
                   {"audio/x-opus", "streamheader=(buffer)< 4f70757348656164",
                    "channel-mapping-family=(int)0"},
                   0.02},
        FormatCase{"vorbis.webm",
                   "-map 1 -c:a libvorbis",
                   false,
                   {"audio/x-vorbis", "streamheader=(buffer)< 01766f72626973"},
                   1024 / 44100.,
                   0.05},
        FormatCase{"hevc.mp4",
                   "-map 0 -c:v libx265 -preset ultrafast -tag:v hvc1 -movflags "
                   "frag_keyframe+empty_moov -x265-params log-level=none",
                   true,
                   {"video/x-h265, stream-format=(string)hvc1", "codec_data=(buffer)01"},
                   0.04},
        FormatCase{"av1.mp4",
                   "-map 0 -c:v libsvtav1 -preset 12 -movflags frag_keyframe+empty_moov",
                   true,
                   {"video/x-av1", "alignment=(string)tu", "codec_data=(buffer)81"},
                   0.04},
        FormatCase{
            "mpeg2.ts", "-map 0 -c:v mpeg2video", true, {"video/mpeg, mpegversion=(int)2"}, 0.04},
        FormatCase{"hevc.ts",
                   "-map 0 -c:v libx265 -preset ultrafast -x265-params log-level=none",
                   true,
                   {"video/x-h265, stream-format=(string)byte-stream"},
                   0.04},
        FormatCase{"mp2.ts", "-map 1 -c:a mp2", false, {"layer=(int)2"}, 1152 / 44100.},
        FormatCase{"alac.mp4",
                   "-map 1 -c:a alac -movflags frag_keyframe+empty_moov",
                   false,
                   {"audio/x-alac", "codec_data=(buffer)00000024616c6163"},
                   4096 / 44100.},
        // The index is after the media data.
        FormatCase{"whole.mp4",
                   "-map 0 -c:v libx264 -preset ultrafast -pix_fmt yuv420p",
                   true,
                   {"stream-format=(string)avc"},
                   0.04}),
    [](const auto& each) {
      std::string name = each.param.file;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

}  // namespace
