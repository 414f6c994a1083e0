// The containers of the first table of docs/media.md, each codec at least once.

#include <algorithm>
#include <cmath>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/LumaGrid.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

constexpr int kColumns = 16;
constexpr int kRows = 9;

/// Each frame of the source.
const std::vector<LumaGrid>& formatSource() {
  static const std::vector<LumaGrid> all =
      lumaOfSource("-f lavfi -i testsrc=size=320x180:rate=25:duration=3", kColumns, kRows);
  return all;
}

struct Format {
  const char* name;
  const char* options;
  int video = 1;
  int audio = 1;
  /// A change of tests/support/change_mp4.py.
  const char* change = nullptr;
  /// Time begins at most this many frames before the first picture.
  std::size_t lead = 1;
};

void PrintTo(const Format& format, std::ostream* out) { *out << format.name; }

constexpr Format kFormats[] = {
    {"h264_aac.mp4", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac"},
    {"h264_aac_fragmented.mp4",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -movflags "
     "frag_keyframe+empty_moov"},
    {"hevc_ac3.mp4",
     "-map 0 -map 1 -c:v libx265 -x265-params log-level=error -tag:v hvc1 -pix_fmt yuv420p -c:a "
     "ac3"},
    {"mpeg4_mp3.mp4", "-map 0 -map 1 -c:v mpeg4 -q:v 2 -c:a libmp3lame"},
    {"h264_aac.mov", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac"},
    {"h264_opus_two.mkv", "-map 0 -map 1 -map 2 -c:v libx264 -pix_fmt yuv420p -c:a libopus", 1, 2},
    {"hevc_flac.mkv",
     "-map 0 -map 1 -c:v libx265 -x265-params log-level=error -pix_fmt yuv420p -c:a flac"},
    {"vp9_opus.webm",
     "-map 0 -map 1 -c:v libvpx-vp9 -b:v 1M -deadline realtime -cpu-used 8 -c:a libopus"},
    {"vp8_vorbis.webm", "-map 0 -map 1 -c:v libvpx -b:v 1M -deadline realtime -c:a libvorbis"},
    {"av1_opus.webm",
     "-map 0 -map 1 -c:v libaom-av1 -cpu-used 8 -usage realtime -pix_fmt yuv420p -c:a libopus"},
    {"h264_aac.ts", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac"},
    {"mpeg2_mp2.ts", "-map 0 -map 1 -c:v mpeg2video -q:v 2 -c:a mp2"},
    {"mpeg2_mp2.mpg", "-map 0 -map 1 -c:v mpeg2video -q:v 2 -c:a mp2"},
    {"h264_mp3.flv", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a libmp3lame -ar 44100"},
    {"mpeg4_mp3.avi", "-map 0 -map 1 -c:v mpeg4 -q:v 2 -c:a libmp3lame"},
    {"h264_dts.mp4",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a dca -ac 2 -ar 48000 -strict -2"},
    {"h264_dts.mkv",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a dca -ac 2 -ar 48000 -strict -2"},
    {"h264_truehd.mkv",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a truehd -ac 2 -ar 48000 -strict -2"},
    {"h264_truehd.mp4",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a truehd -ac 2 -ar 48000 -strict -2"},
    {"h264_alac.mkv", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a alac"},
    {"h264_eac3.mp4", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a eac3 -ac 2 -ar 48000"},
    {"h264_latm.ts",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -mpegts_flags latm"},
    {"h264_s24be.mov", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a pcm_s24be"},
    {"h264_s32le.mov", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a pcm_s32le"},
    {"h264_f32le.mov", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a pcm_f32le"},
    {"h264_qtadpcm.mov", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a adpcm_ima_qt"},
    {"h264_tta.mkv", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a tta"},
    {"h263_aac.3gp", "-map 0 -map 1 -s 352x288 -c:v h263 -q:v 2 -c:a aac"},
    {"h263_mp3.avi", "-map 0 -map 1 -s 352x288 -c:v h263 -q:v 2 -c:a libmp3lame"},
    {"flv1_mp3.flv", "-map 0 -map 1 -c:v flv -q:v 2 -c:a libmp3lame -ar 44100"},
    {"mpeg1_mp2.mpg", "-map 0 -map 1 -c:v mpeg1video -q:v 2 -c:a mp2 -f mpeg"},
    {"theora_vorbis.ogv", "-map 0 -map 1 -c:v libtheora -q:v 9 -c:a libvorbis"},
    {"wmv2_wma.wmv", "-map 0 -map 1 -c:v wmv2 -q:v 2 -c:a wmav2"},
    {"msmpeg4_adpcm.avi", "-map 0 -map 1 -c:v msmpeg4 -q:v 2 -c:a adpcm_ima_wav -ac 2"},
    {"mjpeg_pcm.avi", "-map 0 -map 1 -c:v mjpeg -q:v 2 -pix_fmt yuvj420p -c:a pcm_s16le"},
    {"prores_pcm.mov", "-map 0 -map 1 -c:v prores_ks -c:a pcm_s16le"},
    {"dnxhr_pcm.mov",
     "-map 0 -map 1 -c:v dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p -c:a pcm_s16le"},
    {"utvideo_pcm.avi", "-map 0 -map 1 -c:v utvideo -pix_fmt gbrp -c:a pcm_s16le"},
    {"ffvhuff_pcm.mkv", "-map 0 -map 1 -c:v ffvhuff -pix_fmt yuv420p -c:a pcm_s16le"},
    {"raw_pcm.mov", "-map 0 -map 1 -c:v rawvideo -pix_fmt uyvy422 -c:a pcm_s16le"},
    {"h264_flac.nut", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a flac"},
    {"mpeg2_ac3.wtv", "-map 0 -map 1 -c:v mpeg2video -q:v 2 -c:a ac3"},
    {"rv20_ac3.rm", "-map 0 -map 1 -s 352x288 -c:v rv20 -q:v 2 -c:a ac3"},
    {"h264_alone.mp4", "-map 0 -c:v libx264 -pix_fmt yuv420p", 1, 0},
    {"tone.mp3", "-map 1 -c:a libmp3lame", 0, 1},
    {"tone.m4a", "-map 1 -c:a aac", 0, 1},
    {"tone.flac", "-map 1", 0, 1},
    {"tone.ogg", "-map 1 -c:a libvorbis", 0, 1},
    {"tone.opus", "-map 1 -c:a libopus", 0, 1},
    {"tone.wav", "-map 1", 0, 1},
    {"tone.aiff", "-map 1", 0, 1},
    {"tone_ima.wav", "-map 1 -c:a adpcm_ima_wav", 0, 1},
    {"tone_ms.wav", "-map 1 -c:a adpcm_ms", 0, 1},
    {"tone_g722.wav", "-map 1 -ar 16000 -ac 1 -c:a g722", 0, 1},
    {"tone_gsm.wav", "-map 1 -ar 8000 -ac 1 -c:a libgsm_ms", 0, 1},
    {"tone_alac.caf", "-map 1 -c:a alac", 0, 1},
    {"tone.w64", "-map 1", 0, 1},
    {"tone.tta", "-map 1", 0, 1},
    {"h263_amr.3gp",
     "-map 1 -ar 8000 -ac 1 -f wav - | gst-launch-1.0 -q fdsrc ! wavparse ! amrnbenc ! avmux_amr"
     " ! fdsink | ffmpeg -v error -y -f lavfi -i testsrc=size=320x180:rate=25:duration=3"
     " -f amr -i - -s 352x288 -c:v h263 -q:v 2 -c:a copy"},
    {"h264_dts.ts",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a dca -ac 2 -ar 48000 -strict -2"},
    {"h264_dts.m2ts",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a dca -ac 2 -ar 48000 -strict -2"},
    {"h264_truehd.ts",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a truehd -ac 2 -ar 48000 -strict -2"},
    {"h264_eac3.ts", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a eac3 -ac 2 -ar 48000"},
    {"services.ts",
     "-map 0 -map 1 -map 2 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -muxrate 2M -sdt_period 0.1"
     " -metadata service_name=One -metadata service_provider=Two",
     1, 2},
    {"h264_s24le_51.mov", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -ac 6 -c:a pcm_s24le"},
    {"h264_ipcm.mp4", "-map 0 -map 1 -f mov -c:v libx264 -pix_fmt yuv420p -c:a pcm_s24le", 1, 1,
     "ipcm-24-le"},
    {"h264_fpcm.mp4", "-map 0 -map 1 -f mov -c:v libx264 -pix_fmt yuv420p -c:a pcm_f32be", 1, 1,
     "fpcm-32-be"},
    {"several_sidx.mp4",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac"
     " -movflags frag_keyframe+empty_moov+dash"},
    {"sample_groups.mp4",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac"
     " -movflags frag_keyframe+empty_moov+default_base_moof",
     1, 1, "sample-groups"},
    {"no_edit_list.mp4", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac -use_editlist 0", 1,
     1, nullptr, 3},
    {"timecode.mov", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -c:a aac -timecode 01:00:00:00"},
    {"metadata_track.mp4",
     "-f srt -i "
     "'data:text/plain;base64,MQowMDowMDowMCwwMDAgLS0+"
     "IDAwOjAwOjAxLDAwMApPbmUKCjIKMDA6MDA6MDEsNTAwIC0tPiAwMDowMDowMiw5MDAKVHdvCg==' -map 0"
     " -map 1 -map 3 -c:v libx264 -pix_fmt yuv420p -c:a aac -c:s mov_text",
     1, 1, "metadata-track"},
    {"segments.m3u8",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -hls_time 1 -hls_playlist_type "
     "vod"},
    {"fragments.m3u8",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -hls_time 1 -hls_playlist_type vod"
     " -hls_segment_type fmp4"},
    {"templates.mpd",
     "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac -f dash -seg_duration 1"},
};

/// Their demuxers find no duration, or a wrong one.
constexpr Format kUnindexedFormats[] = {
    {"no_index.avi",
     "-map 0 -map 1 -c:v mpeg4 -q:v 2 -c:a libmp3lame -q:a 2 -f avi ${whole:=$(mktemp)}; python3 "
     "-c '"
     "import os, sys; film = open(sys.argv[1], \"rb\").read(); os.remove(sys.argv[1]);"
     " sys.stdout.buffer.write(film[:film.rindex(b\"idx1\")])' $whole >"},
    {"piped.avi", "-map 0 -map 1 -c:v mpeg4 -q:v 2 -c:a libmp3lame -f avi - >"},
    {"frames.mjpeg", "-map 0 -c:v mjpeg -q:v 2 -pix_fmt yuvj420p", 1, 0},
    {"tone_unknown_length.flac", "-map 1 -f flac - >", 0, 1},
    {"tone_nb.amr",
     "-map 1 -ar 8000 -ac 1 -f wav - | gst-launch-1.0 -q fdsrc ! wavparse ! amrnbenc ! avmux_amr"
     " ! fdsink >",
     0, 1},
    {"tone_wb.amr",
     "-map 1 -ar 16000 -ac 1 -f wav - | gst-launch-1.0 -q fdsrc ! wavparse ! voamrwbenc"
     " ! avmux_amr ! fdsink >",
     0, 1},
    {"vc1_wma.wmv",
     "-map 0 -vf format=gray,scale=40:23:flags=area,scale=320:184:flags=neighbor,format=yuv420p,"
     "lut=y=val*8/9:u=val*8/9:v=val*8/9 -c:v wmv2 -g 1 -q:v 4 -f avi -"
     " | python3 tests/support/make_vc1.py"
     " | ffmpeg -v fatal -y -f vc1test -i - -f lavfi -i sine=frequency=440:duration=3 -c:v copy"
     " -c:a wmav2"},
};

/// Returns how much a frame differs from the source, with a tolerance of `lead` frames.
double errorOf(const media::VideoFrame& frame, std::size_t lead) {
  const LumaGrid seen = lumaOf(frame, kColumns, kRows);
  const auto& expected = formatSource();
  const auto newest = static_cast<std::size_t>(std::lround(frame.time * 25));
  double nearest = 255;
  for (std::size_t index = newest - std::min(lead, newest);
       index <= std::min(newest, expected.size() - 1); ++index)
    nearest = std::min(nearest, difference(seen, expected[index]));
  return nearest;
}

std::ptrdiff_t trackCount(EngineHarness& harness, std::string_view kind) {
  const platform::MediaFacts facts = harness.engine().facts();
  return std::count_if(facts.tracks.begin(), facts.tracks.end(),
                       [&](const auto& track) { return track.mediaType == kind; });
}

class Formats : public testing::TestWithParam<Format> {};

TEST_P(Formats, PlayToTheEnd) {
  const Format& format = GetParam();
  EngineHarness harness;
  platform::MediaLoad load;
  load.startSeconds = 1.0;
  load.playing = false;
  const TestMedia& media = TestMedia::shared();
  harness.load(format.change ? media.url(format.name, format.options, format.change)
                             : media.url(format.name, format.options),
               load);
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("pause") > 0 || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();

  EXPECT_NEAR(harness.engine().position(), 1, 0.1);
  EXPECT_EQ(trackCount(harness, "video"), format.video);
  EXPECT_EQ(trackCount(harness, "audio"), format.audio);
  if (format.video > 0) {
    ASSERT_TRUE(harness.waitUntil([&] { return harness.frame() != nullptr; }));
    EXPECT_TRUE(harness.frame()->sharedMemory) << "the picture is not in shared memory";
    EXPECT_LT(errorOf(*harness.frame(), format.lead), 5) << "at " << harness.frame()->time;
  }

  harness.call([](platform::MediaEngine& engine) {
    engine.seek(2.5);
    engine.play(1);
  });
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  EXPECT_FALSE(harness.error());
  const double duration = harness.engine().facts().duration;
  EXPECT_NEAR(duration, 3, 0.15);
  EXPECT_NEAR(harness.engine().position(), duration, 0.1);
  EXPECT_EQ(harness.misplacedEvents(), 0);
}

std::string nameOfFormat(const testing::TestParamInfo<Format>& format) {
  std::string name = format.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, Formats, testing::ValuesIn(kFormats), nameOfFormat);

class UnindexedFormats : public testing::TestWithParam<Format> {};

TEST_P(UnindexedFormats, PlayFromTheStart) {
  const Format& format = GetParam();
  EngineHarness harness;
  harness.load(TestMedia::shared().url(format.name, format.options));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.count("end") > 0 || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  EXPECT_EQ(harness.count("play 1"), 1);
  EXPECT_EQ(trackCount(harness, "video"), format.video);
  EXPECT_EQ(trackCount(harness, "audio"), format.audio);
  EXPECT_GT(harness.engine().position(), 2.9);
  if (format.video == 0) return;
  ASSERT_TRUE(harness.frame());
  EXPECT_GT(harness.frame()->time, 2.5);
  EXPECT_LT(errorOf(*harness.frame(), format.lead), 5) << "at " << harness.frame()->time;
}

INSTANTIATE_TEST_SUITE_P(All, UnindexedFormats, testing::ValuesIn(kUnindexedFormats), nameOfFormat);

}  // namespace
}  // namespace testing_media
