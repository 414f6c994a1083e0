#include "media/segments/PacketBuffer.h"

#include <new>

#include "media/segments/MediaContainer.h"

namespace media {

GstRef<GstBuffer> bufferOf(const AVPacket& packet, const PacketTimes& times, bool isPicture) {
  // Later audio can be decoded without it. Later pictures may refer to earlier ones.
  if (times.isBeforeStart && !isPicture) return nullptr;
  AVPacket* const kept = av_packet_clone(&packet);
  if (!kept) throw std::bad_alloc();
  const auto size = static_cast<gsize>(kept->size);
  GstRef<GstBuffer> buffer(gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, kept->data, size,
                                                       0, size, kept, [](gpointer data) {
                                                         auto* owned = static_cast<AVPacket*>(data);
                                                         av_packet_free(&owned);
                                                       }));
  GST_BUFFER_PTS(buffer.get()) = times.pts;
  GST_BUFFER_DTS(buffer.get()) = times.dts;
  GST_BUFFER_DURATION(buffer.get()) = times.duration;
  if (isPicture && (packet.flags & AV_PKT_FLAG_KEY) == 0)
    GST_BUFFER_FLAG_SET(buffer.get(), GST_BUFFER_FLAG_DELTA_UNIT);
  if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0)
    GST_BUFFER_FLAG_SET(buffer.get(), GST_BUFFER_FLAG_CORRUPTED);
  if (times.isBeforeStart || (packet.flags & AV_PKT_FLAG_DISCARD) != 0)
    GST_BUFFER_FLAG_SET(buffer.get(), GST_BUFFER_FLAG_DECODE_ONLY);
  return buffer;
}

}  // namespace media
