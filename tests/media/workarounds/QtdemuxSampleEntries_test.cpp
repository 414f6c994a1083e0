#include <cmath>
#include <cstring>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

struct PCM {
  const char* codec;
  const char* change;
  int channels = 1;
};
void PrintTo(const PCM& pcm, std::ostream* out) { *out << pcm.codec; }

constexpr PCM kPCM[] = {
    {"pcm_s16le", "ipcm-16-le"},    {"pcm_s16be", "ipcm-16-be"},    {"pcm_s24le", "ipcm-24-le"},
    {"pcm_s24be", "ipcm-24-be"},    {"pcm_s32le", "ipcm-32-le"},    {"pcm_s32be", "ipcm-32-be"},
    {"pcm_f32le", "fpcm-32-le"},    {"pcm_f32be", "fpcm-32-be"},    {"pcm_f64le", "fpcm-64-le"},
    {"pcm_f64be", "fpcm-64-be"},    {"pcm_s16le", "ipcm-16-le", 6}, {"pcm_s24be", "ipcm-24-be", 2},
    {"pcm_f32le", "fpcm-32-le", 6},
};

struct Heard {
  double squares = 0;
  std::uint64_t samples = 0;
};

void listen(GstElement*, GstBuffer* buffer, GstPad*, gpointer data) {
  auto& heard = *static_cast<Heard*>(data);
  GstMapInfo map;
  ASSERT_TRUE(gst_buffer_map(buffer, &map, GST_MAP_READ));
  for (gsize at = 0; at + sizeof(float) <= map.size; at += sizeof(float)) {
    float sample = 0;
    std::memcpy(&sample, map.data + at, sizeof sample);
    heard.squares += static_cast<double>(sample) * static_cast<double>(sample);
    ++heard.samples;
  }
  gst_buffer_unmap(buffer, &map);
}

class QtdemuxSampleEntries : public testing::TestWithParam<PCM> {};

TEST_P(QtdemuxSampleEntries, PCMIsDecodedAndMixedDown) {
  const PCM& pcm = GetParam();
  media::warmUpMedia();
  const std::string name =
      std::string(pcm.change) + "_" + std::to_string(pcm.channels) + "_channels.mp4";
  // The tone is in all channels.
  std::string pan = pcm.channels == 1 ? "mono" : pcm.channels == 2 ? "stereo" : "5.1";
  for (int channel = 0; channel < pcm.channels; ++channel)
    pan += "|c" + std::to_string(channel) + "=c0";
  TestMedia::shared().url(name, "-map 1 -f mov -af 'pan=" + pan + "' -c:a " + pcm.codec,
                          pcm.change);
  const media::GstRef<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new({}))));
  media::Workarounds::shared().installForPipeline(pipeline.get());
  GstElement* const bin = gst_parse_bin_from_description(
      ("filesrc location=" + TestMedia::shared().path(name) +
       " ! qtdemux ! audioconvert ! audio/x-raw,format=F32LE,channels=1"
       " ! fakesink name=sink signal-handoffs=true")
          .c_str(),
      FALSE, nullptr);
  ASSERT_TRUE(bin);
  gst_bin_add(GST_BIN(pipeline.get()), bin);
  const media::GstRef<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
  Heard heard;
  g_signal_connect(sink.get(), "handoff", G_CALLBACK(listen), &heard);
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  const media::GstRef<GstBus> bus(gst_element_get_bus(pipeline.get()));
  const media::GstRef<GstMessage> last(
      gst_bus_timed_pop_filtered(bus.get(), 60 * GST_SECOND,
                                 static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  ASSERT_TRUE(last);
  EXPECT_EQ(GST_MESSAGE_TYPE(last.get()), GST_MESSAGE_EOS);
  constexpr std::uint64_t kSamples = 3 * 44100;
  EXPECT_EQ(heard.samples, kSamples);
  // A sine with an amplitude of 1/8.
  EXPECT_NEAR(std::sqrt(heard.squares / kSamples), 0.125 / std::sqrt(2.0), 0.002);
}

INSTANTIATE_TEST_SUITE_P(All, QtdemuxSampleEntries, testing::ValuesIn(kPCM),
                         [](const testing::TestParamInfo<PCM>& pcm) {
                           return std::string(pcm.param.codec) + "_" +
                                  std::to_string(pcm.param.channels);
                         });

}  // namespace
}  // namespace testing_media
