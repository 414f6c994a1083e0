#include "media/support/DecoderLookup.h"

#include <cstdlib>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"

namespace testing_media {
namespace {

/// Registers an element that claims to be a hardware decoder, without a rank.
void registerDecoder(const char* name) {
  static const GType type = [] {
    constexpr auto kInitialise = [](gpointer elementClass, gpointer) {
      const media::GstRef<GstCaps> caps(gst_caps_new_empty_simple("video/x-vorlane-test"));
      gst_element_class_add_pad_template(
          GST_ELEMENT_CLASS(elementClass),
          gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps.get()));
      gst_element_class_set_static_metadata(GST_ELEMENT_CLASS(elementClass), "Test",
                                            "Codec/Decoder/Video/Hardware", "None", "TVVorlane");
    };
    return g_type_register_static_simple(GST_TYPE_ELEMENT, "VorlaneTestDecoder",
                                         sizeof(GstElementClass), kInitialise, sizeof(GstElement),
                                         nullptr, static_cast<GTypeFlags>(0));
  }();
  ASSERT_TRUE(gst_element_register(nullptr, name, GST_RANK_NONE, type));
}

guint rankOf(const char* name) {
  GstPluginFeature* const feature = gst_registry_lookup_feature(gst_registry_get(), name);
  if (!feature) return 0;
  const guint rank = gst_plugin_feature_get_rank(feature);
  gst_object_unref(feature);
  return rank;
}

TEST(DecoderLookup, HardwareIsPreferredUnlessTheEnvironmentRanksIt) {
  media::warmUpMedia();
  registerDecoder("vorlanehardware");
  registerDecoder("vorlanehardware2");
  setenv("GST_PLUGIN_FEATURE_RANK", "x:MAX,vorlanehardware2:NONE", 1);
  media::preferHardwareDecoders();
  unsetenv("GST_PLUGIN_FEATURE_RANK");
  EXPECT_GT(rankOf("vorlanehardware"), rankOf("avdec_h264"));
  EXPECT_EQ(rankOf("vorlanehardware2"), static_cast<guint>(GST_RANK_NONE));
}

TEST(DecoderLookup, FindsDecodersByTheirType) {
  media::warmUpMedia();
  const auto isFound = [](const char* text) {
    const media::GstRef<GstCaps> caps(gst_caps_from_string(text));
    return media::hasDecoder(caps.get());
  };
  EXPECT_TRUE(isFound("video/x-h264, stream-format=byte-stream, alignment=nal, profile=unusual"));
  EXPECT_TRUE(isFound("audio/mpeg, mpegversion=4, stream-format=loas"));
  EXPECT_FALSE(isFound("audio/x-gst-fourcc-zzqq"));
}

}  // namespace
}  // namespace testing_media
