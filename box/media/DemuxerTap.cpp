#include "box/media/DemuxerTap.h"

#include "box/media/GstTime.h"

namespace box {

void DemuxerTap::attach(std::unique_ptr<DemuxerTap> tap, GstPad* sink) {
  gst_pad_add_probe(
      sink,
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
      _onData, tap.release(), [](gpointer self) { delete static_cast<DemuxerTap*>(self); });
}

GstPadProbeReturn DemuxerTap::_onData(GstPad* pad, GstPadProbeInfo* info, gpointer self) {
  auto& me = *static_cast<DemuxerTap*>(self);
  if ((info->type & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
    if (GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info))
      me._take(pad, buffer, (info->type & GST_PAD_PROBE_TYPE_PULL) != 0);
  } else if (GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
             event && GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
    gst_event_copy_segment(event, &me._segment);
  }
  return GST_PAD_PROBE_OK;
}

/// In adaptive media the first bytes after a jump say what time they are of.
bool DemuxerTap::_noteTime(GstBuffer* buffer) {
  guint64 time = 0;
  if (_segment.format != GST_FORMAT_TIME || !GST_BUFFER_PTS_IS_VALID(buffer) ||
      gst_segment_to_stream_time_full(&_segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer), &time) !=
          1)
    return false;
  _origin = secondsOf(time);
  return true;
}

void DemuxerTap::_take(GstPad* pad, GstBuffer* buffer, bool isPulled) {
  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return;
  const Bytes bytes(map.data, map.size);
  const std::uint64_t offset = GST_BUFFER_OFFSET(buffer);
  if (isPulled) {
    feedPulled(pad, offset, bytes);
  } else {
    const bool isDated = _noteTime(buffer);
    const bool follows = offset == _nextOffset || _segment.format == GST_FORMAT_TIME;
    if (isDated || !follows || GST_BUFFER_IS_DISCONT(buffer)) restart(isDated);
    feed(offset, bytes);
  }
  _nextOffset = offset + bytes.size();
  gst_buffer_unmap(buffer, &map);
}

void DemuxerTap::feedPulled(GstPad*, std::uint64_t offset, Bytes bytes) {
  if (offset != _nextOffset) restart(false);
  feed(offset, bytes);
}

}  // namespace box
