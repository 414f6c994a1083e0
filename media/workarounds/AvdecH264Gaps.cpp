#include "media/workarounds/AvdecH264Gaps.h"

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace media {
namespace {

GstRef<GstObject> featureOf(const char* name) {
  return GstRef<GstObject>(GST_OBJECT_CAST(gst_registry_lookup_feature(gst_registry_get(), name)));
}

}  // namespace

void installAvdecH264Gaps() {
  const auto faulty = featureOf("avdec_h264");
  const auto good = featureOf("vorlanelibavh264");
  if (!faulty || !good) return;
  gst_plugin_feature_set_rank(GST_PLUGIN_FEATURE(good.get()),
                              gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(faulty.get())) + 1);
}

}  // namespace media
