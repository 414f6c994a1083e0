#include "media/support/DemuxerTap.h"

namespace media {

void DemuxerTap::attach(std::unique_ptr<DemuxerTap> tap, GstPad* sink) {
  gst_pad_add_probe(sink, GST_PAD_PROBE_TYPE_BUFFER, _onData, tap.release(),
                    [](gpointer self) { delete static_cast<DemuxerTap*>(self); });
}

GstPadProbeReturn DemuxerTap::_onData(GstPad* pad, GstPadProbeInfo* info, gpointer self) {
  auto& me = *static_cast<DemuxerTap*>(self);
  if (GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info))
    me._take(pad, buffer, (info->type & GST_PAD_PROBE_TYPE_PULL) != 0);
  return GST_PAD_PROBE_OK;
}

void DemuxerTap::_take(GstPad* pad, GstBuffer* buffer, bool isPulled) {
  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return;
  const Bytes bytes(map.data, map.size);
  const std::uint64_t offset = GST_BUFFER_OFFSET(buffer);
  if (isPulled) {
    feedPulled(pad, offset, bytes);
  } else {
    if (offset != _nextOffset || GST_BUFFER_IS_DISCONT(buffer)) restart();
    feed(offset, bytes);
  }
  _nextOffset = offset + bytes.size();
  gst_buffer_unmap(buffer, &map);
}

void DemuxerTap::feedPulled(GstPad*, std::uint64_t offset, Bytes bytes) {
  if (offset != _nextOffset) restart();
  feed(offset, bytes);
}

}  // namespace media
