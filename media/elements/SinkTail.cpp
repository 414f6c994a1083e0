#include "media/elements/SinkTail.h"

#include <initializer_list>
#include <vector>

namespace media {
namespace {

/// Limits of the queue before the sink: decoded pictures, and the duration of audio.
constexpr guint kPictures = 3;
constexpr guint64 kSound = 400 * GST_MSECOND;
constexpr guint kSparePictures = 1;
constexpr guint64 kSpareSound = 200 * GST_MSECOND;

void limitQueue(GstElement* queue, GstStreamType type, bool hasSpareRoom) {
  if (type == GST_STREAM_TYPE_TEXT) return;
  const bool isVideo = type == GST_STREAM_TYPE_VIDEO;
  const guint pictures = kPictures + (hasSpareRoom ? kSparePictures : 0);
  const guint64 sound = kSound + (hasSpareRoom ? kSpareSound : 0);
  g_object_set(queue, "max-size-buffers", isVideo ? pictures : 0u, "max-size-bytes", 0u,
               "max-size-time", isVideo ? guint64{0} : sound, nullptr);
}

GstElement* makeQueue(GstStreamType type) {
  GstElement* const queue = gst_element_factory_make("queue", nullptr);
  if (!queue) return nullptr;
  g_object_set(queue, "silent", TRUE, nullptr);
  limitQueue(queue, type, false);
  return queue;
}

std::vector<const char*> adaptersFor(GstStreamType type) {
  if (type == GST_STREAM_TYPE_VIDEO) return {"deinterlace"};
  if (type == GST_STREAM_TYPE_AUDIO)
    return {"audioconvert", "scaletempo", "audioconvert", "audioresample"};
  return {};
}

}  // namespace

std::optional<SinkTail> SinkTail::add(GstBin* bin, GstStreamType type, GstElement* sink) {
  GstElement* const queue = makeQueue(type);
  if (!queue) return std::nullopt;
  std::vector<GstElement*> parts{queue};
  for (const char* name : adaptersFor(type))
    if (GstElement* const part = gst_element_factory_make(name, nullptr)) parts.push_back(part);
  parts.push_back(sink);
  GstElement* last = nullptr;
  for (GstElement* const each : parts) {
    if (!gst_bin_add(bin, each)) return std::nullopt;
    if (last && !gst_element_link(last, each)) return std::nullopt;
    last = each;
  }
  SinkTail tail(type, sink);
  tail._head.reset(gst_element_get_static_pad(queue, "sink"));
  return tail;
}

void SinkTail::_flush() const {
  gst_pad_send_event(_head.get(), gst_event_new_flush_start());
  gst_pad_send_event(_head.get(), gst_event_new_flush_stop(FALSE));
}

void SinkTail::link(GstPad* stream) {
  const std::lock_guard lock(*_change);
  if (const GstRef<GstPad> previous{gst_pad_get_peer(_head.get())})
    gst_pad_unlink(previous.get(), _head.get());
  // After EOS a pad refuses data until it is flushed.
  if (GST_PAD_IS_EOS(_head.get())) _flush();
  // The elements of the tail check the caps when the first CAPS event comes.
  gst_pad_link_full(stream, _head.get(), GST_PAD_LINK_CHECK_NOTHING);
}

void SinkTail::setSpareRoom(bool hasSpareRoom) const {
  const GstRef<GstElement> queue(gst_pad_get_parent_element(_head.get()));
  if (queue) limitQueue(queue.get(), _type, hasSpareRoom);
}

void SinkTail::endIfUnlinked() {
  const std::lock_guard lock(*_change);
  if (isLinked() || GST_PAD_IS_EOS(_head.get())) return;
  _flush();
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  for (GstEvent* const event :
       {gst_event_new_stream_start("none"), gst_event_new_segment(&segment), gst_event_new_eos()})
    gst_pad_send_event(_head.get(), event);
}

}  // namespace media
