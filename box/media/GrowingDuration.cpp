#include "box/media/GrowingDuration.h"

#include <algorithm>

#include "box/media/GstRef.h"

namespace box {
namespace {

/// What has been told of one stream. On the demuxer's streaming thread.
class ToldDuration {
 public:
  explicit ToldDuration(GstPad* pad) : _told(_durationOf(pad)) {}

  void pass(GstPad* pad, const GstBuffer* buffer) {
    if (!GST_BUFFER_PTS_IS_VALID(buffer) || GST_BUFFER_PTS(buffer) < _told) return;
    const GstClockTime known = _durationOf(pad);
    if (GST_CLOCK_TIME_IS_VALID(known) && known > _told) {
      const GstRef<GstElement> demuxer(gst_pad_get_parent_element(pad));
      if (demuxer)
        gst_element_post_message(demuxer.get(),
                                 gst_message_new_duration_changed(GST_OBJECT(demuxer.get())));
    }
    // Times may have another origin than durations; so far nothing more is to be learnt.
    _told = std::max(known, GST_BUFFER_PTS(buffer) + GST_SECOND);
  }

 private:
  /// Without end where it is not known.
  static GstClockTime _durationOf(GstPad* pad) {
    gint64 duration = -1;
    return gst_pad_query_duration(pad, GST_FORMAT_TIME, &duration) && duration >= 0
               ? static_cast<GstClockTime>(duration)
               : GST_CLOCK_TIME_NONE;
  }

  GstClockTime _told;
};

GstPadProbeReturn onBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer told) {
  static_cast<ToldDuration*>(told)->pass(pad, GST_PAD_PROBE_INFO_BUFFER(info));
  return GST_PAD_PROBE_OK;
}

void onPadAdded(GstElement*, GstPad* pad, gpointer) {
  gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, onBuffer, new ToldDuration(pad),
                    [](gpointer told) { delete static_cast<ToldDuration*>(told); });
}

void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  if (factory && gst_element_factory_list_is_type(factory, GST_ELEMENT_FACTORY_TYPE_DEMUXER))
    g_signal_connect(element, "pad-added", G_CALLBACK(onPadAdded), nullptr);
}

}  // namespace

void tellGrowingDurations(GstElement* playbin) {
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(onElementAdded), nullptr);
}

}  // namespace box
