#include "media/workarounds/Decodebin3StartOrder.h"

#include "media/support/GstRef.h"

namespace media {
namespace {

/// On the thread that changes the state, after a source is made and before it is started.
void startDecodersBeside(GstBin*, GstBin* parent, GstElement* element, gpointer) {
  if (!isMadeBy(element, "urisourcebin") || !isMadeBy(GST_ELEMENT(parent), "uridecodebin3")) return;
  GstIterator* const siblings = gst_bin_iterate_elements(parent);
  gst_iterator_foreach(
      siblings,
      [](const GValue* value, gpointer) {
        auto* const sibling = GST_ELEMENT(g_value_get_object(value));
        // A playing decodebin3 belongs to the previous item. Its state stays as it is.
        if (isMadeBy(sibling, "decodebin3") && GST_STATE(sibling) < GST_STATE_PAUSED)
          gst_element_set_state(sibling, GST_STATE_PAUSED);
      },
      nullptr);
  gst_iterator_free(siblings);
}

}  // namespace

void installDecodebin3StartOrder(GstElement* playbin) {
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(startDecodersBeside), nullptr);
}

}  // namespace media
