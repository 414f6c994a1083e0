#include "box/media/workarounds/SoupSessionLeak.h"

#include <atomic>
#include <mutex>

#include "box/media/GstRef.h"

namespace box {
namespace {

std::atomic<void (*)(GObject*)> originalSessionFinalize = nullptr;

/// Data that is attached to an object is freed by the last finalize of all, that of GObject.
void finalizeSession(GObject* session) {
  bool isComplete = false;
  g_object_set_data_full(session, "vorlane-end", &isComplete,
                         [](gpointer data) { *static_cast<bool*>(data) = true; });
  originalSessionFinalize.load()(session);
  if (!isComplete) G_OBJECT_CLASS(g_type_class_peek(G_TYPE_OBJECT))->finalize(session);
}

/// On the streaming thread of a source that has made its session.
GstPadProbeReturn patchSessionClass(GstPad*, GstPadProbeInfo*, gpointer) {
  const GType type = g_type_from_name("GstSoupSession");
  if (type == 0 || g_type_parent(type) != G_TYPE_OBJECT) return GST_PAD_PROBE_REMOVE;
  static std::once_flag once;
  std::call_once(once, [type] {
    // The class must stay.
    auto* const sessions = static_cast<GObjectClass*>(g_type_class_ref(type));
    originalSessionFinalize = sessions->finalize;
    sessions->finalize = finalizeSession;
  });
  return GST_PAD_PROBE_REMOVE;
}

void watchSoupSource(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (!isMadeBy(element, "souphttpsrc")) return;
  const GstRef<GstPad> pad(gst_element_get_static_pad(element, "src"));
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_DATA_DOWNSTREAM, patchSessionClass, nullptr,
                    nullptr);
}

}  // namespace

void installSoupSessionLeak(GstElement* playbin) {
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(watchSoupSource), nullptr);
}

}  // namespace box
