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
using testing_segments::FakeTrack;
using testing_segments::fileContent;
using testing_segments::Told;

/// Segments of one second of picture and sound.
std::string transportSegment(int index) {
  static_cast<void>(TestMedia::shared().url("dated.m3u8"));
  return fileContent(TestMedia::shared().path("dated" + std::to_string(index) + ".ts"));
}

std::vector<double> shownTimes(const std::vector<Told::Packet>& packets) {
  std::vector<double> times;
  for (const Told::Packet& packet : packets) times.push_back(packet.pts);
  std::sort(times.begin(), times.end());
  return times;
}

void expectEvenly(const std::vector<Told::Packet>& packets, double first, double step,
                  double tolerance) {
  const std::vector<double> times = shownTimes(packets);
  for (std::size_t index = 0; index < times.size(); ++index)
    ASSERT_NEAR(times[index], first + step * static_cast<double>(index), tolerance) << index;
}

TEST(TrackDemuxer, ReadsConsecutiveTransportSegmentsAsOneStream) {
  const auto track = std::make_shared<FakeTrack>();
  for (int index = 0; index < 3; ++index) track->add(transportSegment(index), 1);
  const Told told = demuxed(track);
  EXPECT_TRUE(told.hasEnded);
  EXPECT_TRUE(track->content.hasPicture && track->content.hasSound);
  EXPECT_EQ(told.video.size(), 75U);
  EXPECT_THAT(told.videoCaps,
              ElementsAre(HasSubstr("video/x-h264, stream-format=(string)byte-stream, "
                                    "alignment=(string)au")));
  EXPECT_THAT(told.audioCaps, ElementsAre(HasSubstr("stream-format=(string)adts")));
  expectEvenly(told.video, 0, 0.04, 1e-6);
  EXPECT_GT(told.audio.size(), 126U);
  expectEvenly(told.audio, told.audio.front().pts, 1024 / 44100., 2e-3);
  EXPECT_TRUE(told.video.front().isDiscontinuous);
  EXPECT_EQ(std::count_if(told.video.begin(), told.video.end(),
                          [](const auto& packet) { return packet.isDiscontinuous; }),
            1);
  EXPECT_EQ(std::count_if(told.video.begin(), told.video.end(),
                          [](const auto& packet) { return packet.isKey; }),
            3);
}

TEST(TrackDemuxer, ReadsEachFragmentAsAFileOfItsOwn) {
  const CutMovie movie = cut(clipBytes("fragmented.mp4"));
  ASSERT_EQ(movie.fragments.size(), 3U);
  const auto track = std::make_shared<FakeTrack>();
  for (const std::string& fragment : movie.fragments) track->add(movie.initialization, fragment, 1);
  const Told told = demuxed(track);
  EXPECT_TRUE(told.hasEnded);
  EXPECT_EQ(told.video.size(), 75U);
  EXPECT_THAT(told.videoCaps,
              ElementsAre(testing::AllOf(HasSubstr("stream-format=(string)avc"),
                                         HasSubstr("codec_data=(buffer)01"),
                                         HasSubstr("width=(int)320, height=(int)180"))));
  EXPECT_THAT(told.audioCaps, ElementsAre(testing::AllOf(HasSubstr("stream-format=(string)raw"),
                                                         HasSubstr("codec_data=(buffer)"),
                                                         HasSubstr("rate=(int)44100"))));
  // The first picture stands for the time by which the sound begins earlier.
  EXPECT_NEAR(told.video.front().pts, 0, 1e-9);
  EXPECT_NEAR(told.video.back().pts, 74 * 0.04 + 1024 / 44100., 1e-4);
}

/// A segment of which only a window is held, from a server that has ranges.
class LongSegment {
 public:
  explicit LongSegment(std::string content) : _content(std::move(content)) {
    bytes->expect(_content.size(), true);
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
    if (const auto wanted = bytes->wanted()) bytes->restart(_place = *wanted);
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

TEST(TrackDemuxer, ALongSegmentIsReadFromWhereItIsSought) {
  const std::string options = "-map 0 -c:v libx264 -preset ultrafast -g 25 ";
  const std::string transport = transportSegment(0) + transportSegment(1) + transportSegment(2);
  const struct {
    const char* name;
    std::string content;
    double begin;  ///< of what is read when 2.5 s are sought
  } cases[] = {
      {"its index at the end", clipBytes("last.mp4", options.c_str()), 2},
      {"its index at the beginning",
       clipBytes("first.mp4", (options + "-movflags faststart").c_str()), 2},
      // It is read from some seconds before.
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
      if (isSought) track->pieces.back().sought = 12.5;
      const Told told = demuxed(track);
      EXPECT_TRUE(told.hasEnded);
      EXPECT_TRUE(told.gaps.empty());
      const double begin = isSought ? each.begin : 0;
      EXPECT_EQ(told.video.size(), 75 - static_cast<std::size_t>(begin * 25));
      ASSERT_FALSE(told.video.empty());
      EXPECT_TRUE(told.video.front().isKey);
      EXPECT_NEAR(told.video.front().pts, 10 + begin, 0.05);
    }
  }
}

struct FormCase {
  const char* file;
  const char* options;
  bool isPicture;
  std::vector<const char*> caps;
  double step;  ///< seconds between packets
  double tolerance = 2e-3;
};

class EveryForm : public testing::TestWithParam<FormCase> {};

TEST_P(EveryForm, HasItsCapsAndTimes) {
  const FormCase& form = GetParam();
  const auto track = std::make_shared<FakeTrack>();
  const std::string content = clipBytes(form.file, form.options);
  track->end = 20;
  track->add(content, 3);
  track->add(content, 3).isDiscontinuous = true;
  track->pieces.back().segment.discontinuity = 1;
  const Told told = demuxed(track);
  EXPECT_TRUE(told.hasEnded);
  EXPECT_TRUE(told.gaps.empty());
  EXPECT_EQ(track->content.hasPicture, form.isPicture);
  EXPECT_NE(track->content.hasSound, form.isPicture);
  const auto& caps = form.isPicture ? told.videoCaps : told.audioCaps;
  ASSERT_EQ(caps.size(), 1U);
  for (const char* each : form.caps) EXPECT_THAT(caps[0], HasSubstr(each));
  auto packets = form.isPicture ? told.video : told.audio;
  ASSERT_EQ(packets.size() % 2, 0U);
  const auto half = packets.begin() + static_cast<std::ptrdiff_t>(packets.size() / 2);
  const std::vector second(half, packets.end());
  EXPECT_TRUE(second.front().isDiscontinuous);
  packets.erase(half, packets.end());
  EXPECT_NEAR(static_cast<double>(packets.size()) * form.step, 3, 0.2);
  expectEvenly(packets, 20, form.step, form.tolerance);
  expectEvenly(second, 23, form.step, form.tolerance);
}

INSTANTIATE_TEST_SUITE_P(
    TrackDemuxer, EveryForm,
    testing::Values(
        FormCase{"form.aac",
                 "-map 1 -c:a aac",
                 false,
                 {"audio/mpeg, mpegversion=(int)4", "stream-format=(string)adts"},
                 1024 / 44100.},
        FormCase{"form.mp3",
                 "-map 1 -c:a libmp3lame",
                 false,
                 {"mpegversion=(int)1, layer=(int)3"},
                 1152 / 44100.},
        FormCase{"form.ac3", "-map 1 -c:a ac3 -ar 48000", false, {"audio/x-ac3"}, 0.032},
        FormCase{"form.eac3", "-map 1 -c:a eac3 -ar 48000", false, {"audio/x-eac3"}, 0.032},
        FormCase{"form.flac",
                 "-map 1 -c:a flac",
                 false,
                 {"audio/x-flac", "streamheader=(buffer)< 664c6143, 80000022"},
                 4608 / 44100.},
        FormCase{"vp9.webm",
                 "-map 0 -c:v libvpx-vp9 -cpu-used 8 -deadline realtime",
                 true,
                 {"video/x-vp9", "width=(int)320, height=(int)180"},
                 0.04},
        FormCase{"vp8.webm", "-map 0 -c:v libvpx -deadline realtime", true, {"video/x-vp8"}, 0.04},
        FormCase{"opus.webm",
                 "-map 1 -c:a libopus",
                 false,
                 {"audio/x-opus", "streamheader=(buffer)< 4f70757348656164",
                  "channel-mapping-family=(int)0"},
                 0.02},
        FormCase{"vorbis.webm",
                 "-map 1 -c:a libvorbis",
                 false,
                 {"audio/x-vorbis", "streamheader=(buffer)< 01766f72626973"},
                 1024 / 44100.,
                 0.05},
        FormCase{"hevc.mp4",
                 "-map 0 -c:v libx265 -preset ultrafast -tag:v hvc1 -movflags "
                 "frag_keyframe+empty_moov -x265-params log-level=none",
                 true,
                 {"video/x-h265, stream-format=(string)hvc1", "codec_data=(buffer)01"},
                 0.04},
        FormCase{"av1.mp4",
                 "-map 0 -c:v libsvtav1 -preset 12 -movflags frag_keyframe+empty_moov",
                 true,
                 {"video/x-av1", "alignment=(string)tu", "codec_data=(buffer)81"},
                 0.04},
        FormCase{
            "mpeg2.ts", "-map 0 -c:v mpeg2video", true, {"video/mpeg, mpegversion=(int)2"}, 0.04},
        FormCase{"hevc.ts",
                 "-map 0 -c:v libx265 -preset ultrafast -x265-params log-level=none",
                 true,
                 {"video/x-h265, stream-format=(string)byte-stream"},
                 0.04},
        FormCase{"mp2.ts", "-map 1 -c:a mp2", false, {"layer=(int)2"}, 1152 / 44100.},
        FormCase{"alac.mp4",
                 "-map 1 -c:a alac -movflags frag_keyframe+empty_moov",
                 false,
                 {"audio/x-alac", "codec_data=(buffer)00000024616c6163"},
                 4096 / 44100.},
        // Its index lies behind the media.
        FormCase{"whole.mp4",
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
