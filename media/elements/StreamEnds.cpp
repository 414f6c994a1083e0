#include "media/elements/StreamEnds.h"

namespace media {
namespace {

constexpr const char* kStreamEnd = "vorlane-end-of-stream";

GstPadProbeReturn sendMark(GstPad* pad, GstPadProbeInfo* info, gpointer) {
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_EOS) return GST_PAD_PROBE_OK;
  GstEvent* const mark =
      gst_event_new_custom(GST_EVENT_CUSTOM_DOWNSTREAM, gst_structure_new_empty(kStreamEnd));
  gst_event_set_seqnum(mark, gst_event_get_seqnum(event));
  gst_pad_send_event(pad, mark);
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn replaceMark(GstPad*, GstPadProbeInfo* info, gpointer) {
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (!gst_event_has_name(event, kStreamEnd)) return GST_PAD_PROBE_OK;
  GstEvent* const end = gst_event_new_eos();
  gst_event_set_seqnum(end, gst_event_get_seqnum(event));
  gst_event_unref(event);
  GST_PAD_PROBE_INFO_DATA(info) = end;
  return GST_PAD_PROBE_OK;
}

}  // namespace

void markEndOfStream(GstPad* input) {
  gst_pad_add_probe(input, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, sendMark, nullptr, nullptr);
}

void endStreamAtMark(GstPad* pad) {
  gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, replaceMark, nullptr, nullptr);
}

}  // namespace media
