#include "media/workarounds/QtdemuxGrowingDuration.h"

#include <algorithm>

#include "media/support/GstRef.h"

namespace media {
namespace {

/// The known duration of one stream. Only used on the demuxer's streaming thread.
class KnownDuration {
 public:
  explicit KnownDuration(GstPad* pad) : _known(_durationOf(pad)) {}

  void check(GstPad* pad, const GstBuffer* buffer) {
    if (!GST_BUFFER_PTS_IS_VALID(buffer) || GST_BUFFER_PTS(buffer) < _known) return;
    const GstClockTime now = _durationOf(pad);
    if (GST_CLOCK_TIME_IS_VALID(now) && now > _known) {
      const GstRef<GstElement> demuxer(gst_pad_get_parent_element(pad));
      if (demuxer)
        gst_element_post_message(demuxer.get(),
                                 gst_message_new_duration_changed(GST_OBJECT(demuxer.get())));
    }
    // Time stamps may begin above zero: ignore the next second.
    _known = std::max(now, GST_BUFFER_PTS(buffer) + GST_SECOND);
  }

 private:
  /// Returns GST_CLOCK_TIME_NONE, the largest time, if the duration is unknown.
  static GstClockTime _durationOf(GstPad* pad) {
    gint64 duration = -1;
    return gst_pad_query_duration(pad, GST_FORMAT_TIME, &duration) && duration >= 0
               ? static_cast<GstClockTime>(duration)
               : GST_CLOCK_TIME_NONE;
  }

  GstClockTime _known;
};

GstPadProbeReturn checkDuration(GstPad* pad, GstPadProbeInfo* info, gpointer known) {
  static_cast<KnownDuration*>(known)->check(pad, GST_PAD_PROBE_INFO_BUFFER(info));
  return GST_PAD_PROBE_OK;
}

void watchStream(GstElement*, GstPad* pad, gpointer) {
  gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, checkDuration, new KnownDuration(pad),
                    [](gpointer known) { delete static_cast<KnownDuration*>(known); });
}

/// Adaptive demuxers are left out: they add pads while they hold a lock that queries take.
void watchDemuxer(GstBin*, GstBin*, GstElement* element, gpointer) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  if (factory && gst_element_factory_list_is_type(factory, GST_ELEMENT_FACTORY_TYPE_DEMUXER) &&
      !hasClass(element, "Adaptive"))
    g_signal_connect(element, "pad-added", G_CALLBACK(watchStream), nullptr);
}

}  // namespace

void installQtdemuxGrowingDuration(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(watchDemuxer), nullptr);
}

}  // namespace media
