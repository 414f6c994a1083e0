#include "media/pipeline/SinkProgress.h"

#include <algorithm>

#include "media/support/GstRef.h"
#include "media/support/GstTime.h"

namespace media {

void SinkProgress::watch(GstElement* element) {
  const GstRef<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  constexpr auto kData =
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                   GST_PAD_PROBE_TYPE_EVENT_FLUSH);
  if (pad) gst_pad_add_probe(pad.get(), kData, _onData, this, nullptr);
}

GstPadProbeReturn SinkProgress::_onData(GstPad*, GstPadProbeInfo* info, gpointer self) {
  auto& me = *static_cast<SinkProgress*>(self);
  if ((info->type & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
    ++me._itemCount;
    me._take(GST_PAD_PROBE_INFO_BUFFER(info));
    return GST_PAD_PROBE_OK;
  }
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_FLUSH_STOP:
      me._end = -1;
      me._hasEnded = false;
      break;
    case GST_EVENT_SEGMENT:
      gst_event_copy_segment(event, &me._segment);
      break;
    case GST_EVENT_EOS:
      me._hasEnded = true;
      ++me._itemCount;
      break;
    case GST_EVENT_GAP:
      ++me._itemCount;
      break;
    default:
      break;
  }
  return GST_PAD_PROBE_OK;
}

void SinkProgress::_take(GstBuffer* buffer) {
  if (_segment.format != GST_FORMAT_TIME || !GST_BUFFER_PTS_IS_VALID(buffer)) return;
  GstClockTime end = GST_BUFFER_PTS(buffer);
  if (GST_BUFFER_DURATION_IS_VALID(buffer)) end += GST_BUFFER_DURATION(buffer);
  const guint64 time =
      gst_segment_to_stream_time(&_segment, GST_FORMAT_TIME, std::min(end, _segment.stop));
  if (GST_CLOCK_TIME_IS_VALID(time)) _end = secondsOf(static_cast<gint64>(time));
}

}  // namespace media
