// At 8 and 16 times, at least four pictures a second reach the sink.

#include <algorithm>
#include <cmath>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/elements/ResourcePipeline.h"
#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"
#include "tests/media/elements/CountingSink.h"

namespace {

using media::GstRef;
using testing_media::CountingSink;
using testing_media::TestMedia;

constexpr double kScannedSeconds = 16;
constexpr double kPicturesPerSecond = 4;
constexpr double kFirstPicture = 0.6;  // program streams have a lead
constexpr GstClockTime kScanLimit = 60 * GST_SECOND;

/// A sink without a clock that records the stream time of its pictures.
class StreamTimeSink {
 public:
  StreamTimeSink() : _element(gst_element_factory_make("fakesink", nullptr)) {
    gst_object_ref_sink(_element.get());
    g_object_set(_element.get(), "sync", FALSE, nullptr);
    const GstRef<GstPad> pad(gst_element_get_static_pad(_element.get(), "sink"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, _record, this, nullptr);
  }
  GstElement* element() const { return _element.get(); }
  /// Returns and forgets the times.
  std::vector<double> take() {
    const std::lock_guard lock(_mutex);
    return std::exchange(_times, {});
  }

 private:
  static GstPadProbeReturn _record(GstPad* pad, GstPadProbeInfo* info, gpointer sink) {
    auto& self = *static_cast<StreamTimeSink*>(sink);
    const GstRef<GstEvent> event(gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0));
    const GstSegment* segment = nullptr;
    gst_event_parse_segment(event.get(), &segment);
    guint64 time = 0;
    const int sign = gst_segment_to_stream_time_full(
        segment, GST_FORMAT_TIME, GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info)), &time);
    const std::lock_guard lock(self._mutex);
    self._times.push_back(sign * static_cast<double>(time) / static_cast<double>(GST_SECOND));
    return GST_PAD_PROBE_OK;
  }

  const GstRef<GstElement> _element;
  std::mutex _mutex;
  std::vector<double> _times;
};

struct ScannedClip {
  const char* name;
  const char* options;  // key frames every 2 s
};

void PrintTo(const ScannedClip& clip, std::ostream* out) { *out << clip.name; }

constexpr ScannedClip kScannedClips[] = {
    {"scan.mp4", "-c:v libx264 -g 50 -c:a aac"},
    {"scan_fragmented.mp4", "-c:v libx264 -g 50 -c:a aac -movflags frag_keyframe+empty_moov"},
    {"scan_hevc.mp4", "-c:v libx265 -x265-params log-level=error:keyint=50 -tag:v hvc1 -c:a aac"},
    {"scan.mkv", "-c:v libx264 -g 50 -c:a aac"},
    {"scan.webm", "-c:v libvpx -g 50 -b:v 1M -deadline realtime -c:a libvorbis"},
    {"scan.ts", "-c:v libx264 -g 50 -c:a aac"},
    {"scan_mpeg2.ts", "-c:v mpeg2video -g 50 -sc_threshold 1000000000 -q:v 3 -c:a mp2"},
    {"scan.mpg", "-c:v mpeg2video -g 50 -sc_threshold 1000000000 -q:v 3 -c:a mp2"},
    {"scan.flv", "-c:v libx264 -g 50 -c:a aac -ar 44100"},
    {"scan.avi", "-c:v mpeg4 -g 50 -sc_threshold 1000000000 -q:v 3 -c:a libmp3lame"},
    {"scan_mjpeg.avi", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p -c:a pcm_s16le"},
    {"scan.wmv", "-c:v wmv2 -g 50 -sc_threshold 1000000000 -q:v 3 -c:a wmav2"},
    {"scan.ogv", "-c:v libtheora -g 50 -q:v 7 -c:a libvorbis"},
};

class Scanning : public testing::TestWithParam<ScannedClip> {
 protected:
  static void SetUpTestSuite() { media::warmUpMedia(); }
  void TearDown() override {
    if (pipeline) gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  }
  bool comes(GstMessageType type) const {
    const GstRef<GstMessage> message(gst_bus_timed_pop_filtered(
        bus.get(), kScanLimit, static_cast<GstMessageType>(type | GST_MESSAGE_ERROR)));
    return message && GST_MESSAGE_TYPE(message.get()) == type;
  }

  StreamTimeSink picture;
  CountingSink sound;
  GstRef<GstElement> pipeline;
  GstRef<GstBus> bus;
};

TEST_P(Scanning, ShowsFourPicturesASecond) {
  const ScannedClip& clip = GetParam();
  const TestMedia& media = TestMedia::shared();
  media.url(clip.name,
            "-f lavfi -i testsrc=size=320x180:rate=25:duration=16"
            " -f lavfi -i sine=frequency=440:duration=16 -map 3 -map 4 -pix_fmt yuv420p " +
                std::string(clip.options));
  pipeline = media::makeResourcePipeline(
      {.source = gst_element_make_from_uri(GST_URI_SRC, ("file://" + media.path(clip.name)).c_str(),
                                           nullptr, nullptr),
       .videoSink = picture.element(),
       .audioSink = sound.element()});
  ASSERT_TRUE(pipeline);
  media::Workarounds::shared().installForPipeline(pipeline.get());
  bus.reset(gst_element_get_bus(pipeline.get()));
  gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
  ASSERT_TRUE(comes(GST_MESSAGE_ASYNC_DONE));
  constexpr auto kFlags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_TRICKMODE |
                                                    GST_SEEK_FLAG_TRICKMODE_KEY_UNITS |
                                                    GST_SEEK_FLAG_TRICKMODE_NO_AUDIO);
  for (const double rate : {8.0, 16.0}) {
    SCOPED_TRACE(rate);
    picture.take();
    ASSERT_TRUE(gst_element_seek(pipeline.get(), rate, GST_FORMAT_TIME, kFlags, GST_SEEK_TYPE_SET,
                                 0, GST_SEEK_TYPE_SET, -1));
    ASSERT_TRUE(comes(GST_MESSAGE_ASYNC_DONE));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    ASSERT_TRUE(comes(GST_MESSAGE_EOS));
    std::vector<double> times = picture.take();
    times.push_back(std::max(kScannedSeconds, times.empty() ? 0 : times.back()));
    double last = 0;
    for (const double time : times) {
      EXPECT_LE(time - last, rate / kPicturesPerSecond + kFirstPicture);
      EXPECT_GE(time, last);
      last = time;
    }
    gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
  }
}

std::string scannedClipName(const testing::TestParamInfo<ScannedClip>& clip) {
  std::string name = clip.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Media, Scanning, testing::ValuesIn(kScannedClips), scannedClipName);

}  // namespace
