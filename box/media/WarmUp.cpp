#include "box/media/WarmUp.h"

#include <mutex>

#include <gst/gst.h>

#include "box/media/GstRef.h"
#include "platform/foundation/TVSLogger.h"

namespace box {
namespace {

// What an mp4 over HTTP goes through. One that is missing fails later, with the item's own error.
constexpr const char* kCommonElements[] = {
    "playbin3",     "uridecodebin3", "urisourcebin", "decodebin3", "parsebin",
    "souphttpsrc",  "typefind",      "queue2",       "multiqueue", "qtdemux",
    "h264parse",    "aacparse",      "avdec_h264",   "avdec_aac",  "appsink",
    "audioconvert", "audioresample", "volume",       "scaletempo", "videoconvertscale",
    "videobalance", "deinterlace",
};

void load(const char* name) {
  if (GstElement* element = gst_element_factory_make(name, nullptr)) {
    gst_object_ref_sink(element);
    gst_object_unref(element);
  }
}

/// Looking for an audio device tries one plugin after the other, and each is loaded for that.
void loadAudioSink() {
  GstElement* sink = gst_element_factory_make("autoaudiosink", nullptr);
  if (!sink) return;
  gst_object_ref_sink(sink);
  gst_element_set_state(sink, GST_STATE_READY);
  gst_element_set_state(sink, GST_STATE_NULL);
  gst_object_unref(sink);
}

void bringUp() {
  // A scanner process would inherit descriptors and be a child that nobody waits for.
  gst_registry_fork_set_enabled(FALSE);
  GError* failure = nullptr;
  if (!gst_init_check(nullptr, nullptr, &failure)) {
    const GstRef<GError> error(failure);
    TVSLogError(TVSSystemLog, "Media library does not start: %@",
                error ? error->message : "no reason given");
    return;
  }
  for (const char* name : kCommonElements) load(name);
  if (GstPlugin* types = gst_plugin_load_by_name("typefindfunctions")) gst_object_unref(types);
  loadAudioSink();
}

}  // namespace

void warmUpMedia() {
  static std::once_flag once;
  std::call_once(once, bringUp);
}

}  // namespace box
