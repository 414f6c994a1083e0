#include "media/workarounds/Decodebin3EmptyStream.h"

#include "media/support/GstRef.h"

namespace media {
namespace {

GstClockTime startOf(GstPad* pad) {
  const GstRef<GstEvent> event(gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0));
  GstSegment segment;
  if (!event) return 0;
  gst_event_copy_segment(event.get(), &segment);
  return segment.format == GST_FORMAT_TIME ? segment.start : 0;
}

GstPadProbeReturn precedeEnd(GstPad* pad, GstPadProbeInfo* info, gpointer) {
  if ((info->type & GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM) == 0) return GST_PAD_PROBE_REMOVE;
  const GstEventType type = GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info));
  if (type == GST_EVENT_GAP) return GST_PAD_PROBE_REMOVE;
  // The gap removes this probe.
  if (type == GST_EVENT_EOS)
    gst_pad_send_event(pad, gst_event_new_gap(startOf(pad), GST_CLOCK_TIME_NONE));
  return GST_PAD_PROBE_OK;
}

/// decodebin3 has such an element for each parsed stream.
void watchInput(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (!isFromFactory(element, "identity")) return;
  const GstRef<GstPad> sink(gst_element_get_static_pad(element, "sink"));
  gst_pad_add_probe(sink.get(), GST_PAD_PROBE_TYPE_DATA_DOWNSTREAM, precedeEnd, nullptr, nullptr);
}

}  // namespace

void installDecodebin3EmptyStream(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(watchInput), nullptr);
}

}  // namespace media
