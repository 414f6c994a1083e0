#include "box/media/workarounds/Queue2StaleRing.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

#include "box/media/GstRef.h"

namespace box {
namespace {

/// queue2 waits for data at most this far ahead of the end of its download.
constexpr guint64 kWaitBytes = guint64{512} * 1024;

struct ByteRange {
  guint64 begin;
  guint64 end;
};

/// The state of one queue, owned by it.
struct Ring {
  GstElement* queue;
  GstPad* sink;    // gets what is downloaded
  GstPad* source;  // is read
  GstPadGetRangeFunction read;

  // Bytes that were downloaded, counted on the downloading thread.
  std::atomic<guint64> written = 0;  // since the ranges were forgotten; at least the true number
  std::atomic<guint64> settled = 0;  // since the last move; at most the true number
  guint64 newest = 0;                // size of the last buffer, which is not in `settled` yet

  // Protected by the stream lock of the source pad, which the reader holds. The range that is
  // being written:
  guint64 begin = 0;
  guint64 from = 0;   // the target of the last move
  guint64 end = 0;    // of what was read; at most the true end
  guint64 asked = 0;  // of all reads, also those that failed; at least the true end
  // The other ranges of the queue:
  std::optional<ByteRange> before = std::nullopt;
  bool isAlone = true;      // there was no other range since the ranges were forgotten
  bool hasStrayed = false;  // the queue moved by itself when something may be overwritten

  // A move that this code has started:
  bool isMoving = false;
  bool forgets = false;  // the ranges are forgotten with it
  guint64 target = 0;
};

struct RingSizes {
  guint64 ring = 0;
  guint64 ahead = 0;
};

RingSizes sizesOf(const Ring& ring) {
  RingSizes sizes;
  guint ahead = 0;
  g_object_get(ring.queue, "ring-buffer-max-size", &sizes.ring, "max-size-bytes", &ahead, nullptr);
  sizes.ahead = std::min<guint64>(ahead, sizes.ring);
  return sizes;
}

/// Whether a part of the range may be overwritten before it is read.
bool mayLack(const Ring& ring, const RingSizes& sizes) {
  return ring.written + sizes.ahead > sizes.ring;
}

guint64 settledEnd(const Ring& ring) { return std::max(ring.end, ring.from + ring.settled); }

/// Whether the queue has the byte for certain, or waits for it.
bool isReadable(const Ring& ring, const RingSizes& sizes, guint64 offset) {
  if (ring.hasStrayed) return false;
  guint64 oldest = ring.begin;
  if (mayLack(ring, sizes))
    oldest = std::max(oldest, std::max(ring.asked + sizes.ahead, sizes.ring) - sizes.ring);
  else if (ring.before && offset >= ring.before->begin && offset < ring.before->end)
    return true;
  const guint64 there = settledEnd(ring);
  return offset >= oldest &&
         offset <= std::max(there, std::min(there + kWaitBytes, ring.end + sizes.ahead));
}

/// Whether the queue has to forget its ranges when the download moves to `offset`. A new range near
/// the present one would soon overlap it.
bool mustForget(const Ring& ring, const RingSizes& sizes, guint64 offset) {
  const bool isFar = offset > ring.asked + sizes.ahead || offset + sizes.ahead < ring.begin;
  return mayLack(ring, sizes) || !ring.isAlone || !isFar;
}

bool isBeyondEnd(const Ring& ring, guint64 offset) {
  gint64 size = -1;
  return gst_pad_peer_query_duration(ring.sink, GST_FORMAT_BYTES, &size) && size >= 0 &&
         offset >= static_cast<guint64>(size);
}

bool isPadFlushing(GstPad* pad) {
  GST_OBJECT_LOCK(pad);
  const bool result = GST_PAD_IS_FLUSHING(pad);
  GST_OBJECT_UNLOCK(pad);
  return result;
}

/// Resets the queue to its state right after activation.
void forgetAll(Ring& ring) {
  auto* const parent = GST_OBJECT(ring.queue);
  GST_PAD_ACTIVATEMODEFUNC(ring.source)(ring.source, parent, GST_PAD_MODE_PULL, TRUE);
  // Activating ends a flush that somebody has started meanwhile.
  if (isPadFlushing(ring.source))
    GST_PAD_EVENTFUNC(ring.source)(ring.source, parent, gst_event_new_flush_start());
  ring.written = 0;
  ring.before.reset();
  ring.isAlone = true;
  ring.hasStrayed = false;
}

/// Between flush-start and flush-stop, when nothing is written or read. The queue gets the segment
/// of the new position now: without it, it would seek by itself.
void beginAnew(Ring& ring, GstEvent* flushStop) {
  auto* const parent = GST_OBJECT(ring.queue);
  const auto toSink = GST_PAD_EVENTFULLFUNC(ring.sink);
  // The queue takes one segment after each flush-stop, and that of the source follows.
  toSink(ring.sink, parent, gst_event_ref(flushStop));
  ring.before = {ring.begin, settledEnd(ring)};
  ring.isAlone = false;
  if (ring.forgets) forgetAll(ring);
  ring.begin = ring.from = ring.end = ring.asked = ring.target;
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_BYTES);
  segment.start = segment.position = ring.target;
  toSink(ring.sink, parent, gst_event_new_segment(&segment));
}

GstFlowReturn moveTo(Ring& ring, guint64 offset, bool forgets) {
  const bool isAhead = offset > ring.end;
  ring.target = offset;
  ring.forgets = forgets;
  ring.isMoving = true;
  const bool hasMoved = gst_pad_push_event(
      ring.sink,
      gst_event_new_seek(1.0, GST_FORMAT_BYTES,
                         static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
                         GST_SEEK_TYPE_SET, static_cast<gint64>(offset), GST_SEEK_TYPE_NONE, -1));
  ring.isMoving = false;
  if (hasMoved) return GST_FLOW_OK;
  if (isPadFlushing(ring.source)) return GST_FLOW_FLUSHING;
  // Demuxers that do not know the length read on until the end.
  return isAhead ? GST_FLOW_EOS : GST_FLOW_ERROR;
}

GstFlowReturn readThere(Ring& ring, guint64 offset, guint length, GstBuffer** buffer) {
  const GstFlowReturn flow = ring.read(ring.source, GST_OBJECT(ring.queue), offset, length, buffer);
  if (flow != GST_FLOW_EOS) ring.asked = std::max(ring.asked, offset + length);
  if (flow == GST_FLOW_OK) ring.end = std::max(ring.end, offset + gst_buffer_get_size(*buffer));
  return flow;
}

GstFlowReturn readRing(GstPad* pad, GstObject*, guint64 offset, guint length, GstBuffer** buffer) {
  Ring& ring = *static_cast<Ring*>(pad->getrangedata);
  const RingSizes sizes = sizesOf(ring);
  if (isReadable(ring, sizes, offset) || isBeyondEnd(ring, offset)) {
    const bool isGiven = *buffer != nullptr;
    const GstFlowReturn flow = readThere(ring, offset, length, buffer);
    if (flow != GST_FLOW_OK || !ring.hasStrayed) return flow;
    if (!isGiven) gst_clear_buffer(buffer);
  }
  const GstFlowReturn flow = moveTo(ring, offset, mustForget(ring, sizes, offset));
  return flow == GST_FLOW_OK ? readThere(ring, offset, length, buffer) : flow;
}

GstPadProbeReturn countDownload(GstPad*, GstPadProbeInfo* info, gpointer data) {
  Ring& ring = *static_cast<Ring*>(data);
  const gsize size = gst_buffer_get_size(GST_PAD_PROBE_INFO_BUFFER(info));
  ring.written += size;
  ring.settled += std::exchange(ring.newest, size);
  return GST_PAD_PROBE_OK;
}

/// The queue seeks by itself to the end of another range, to go on there.
GstPadProbeReturn followSeek(GstPad*, GstPadProbeInfo* info, gpointer data) {
  Ring& ring = *static_cast<Ring*>(data);
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_SEEK) return GST_PAD_PROBE_OK;
  GstFormat format = GST_FORMAT_UNDEFINED;
  gint64 start = 0;
  gst_event_parse_seek(event, nullptr, &format, nullptr, nullptr, &start, nullptr, nullptr);
  // Seeks of demuxers have other formats and do not reach the source.
  if (format != GST_FORMAT_BYTES || ring.isMoving) return GST_PAD_PROBE_OK;
  const RingSizes sizes = sizesOf(ring);
  ring.hasStrayed = ring.hasStrayed || mayLack(ring, sizes);
  ring.from = ring.asked = static_cast<guint64>(start);
  ring.begin = ring.before ? std::min(ring.before->begin, ring.from) : ring.from;
  ring.end = std::max(ring.from, ring.begin + sizes.ahead) - sizes.ahead;
  ring.before.reset();
  ring.isAlone = false;
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn followFlush(GstPad*, GstPadProbeInfo* info, gpointer data) {
  Ring& ring = *static_cast<Ring*>(data);
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_FLUSH_STOP) return GST_PAD_PROBE_OK;
  if (ring.isMoving) beginAnew(ring, event);
  ring.settled = ring.newest = 0;
  return GST_PAD_PROBE_OK;
}

void watchQueue2(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (isMadeBy(element, "queue2")) watchRing(element);
}

}  // namespace

void watchRing(GstElement* queue) {
  const GstRef<GstPad> sink(gst_element_get_static_pad(queue, "sink"));
  const GstRef<GstPad> source(gst_element_get_static_pad(queue, "src"));
  auto* const ring = new Ring{queue, sink.get(), source.get(), GST_PAD_GETRANGEFUNC(source.get())};
  g_object_set_data_full(G_OBJECT(queue), "vorlane-ring", ring,
                         [](gpointer data) { delete static_cast<Ring*>(data); });
  gst_pad_set_getrange_function_full(source.get(), readRing, ring, nullptr);
  gst_pad_add_probe(sink.get(), GST_PAD_PROBE_TYPE_BUFFER, countDownload, ring, nullptr);
  gst_pad_add_probe(sink.get(), GST_PAD_PROBE_TYPE_EVENT_UPSTREAM, followSeek, ring, nullptr);
  gst_pad_add_probe(sink.get(), GST_PAD_PROBE_TYPE_EVENT_FLUSH, followFlush, ring, nullptr);
}

void installQueue2StaleRing(GstElement* playbin) {
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(watchQueue2), nullptr);
}

}  // namespace box
