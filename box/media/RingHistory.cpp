#include "box/media/RingHistory.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

#include "box/media/GstRef.h"

namespace box {
namespace {

/// What lies no further ahead of what has come, the queue waits for.
constexpr guint64 kWaitBytes = guint64{512} * 1024;

struct Range {
  guint64 begin;
  guint64 end;
};

/// Of one queue, and gone with it.
struct Ring {
  GstElement* queue;
  GstPad* sink;    // what is downloaded comes in here
  GstPad* source;  // and is read here
  GstPadGetRangeFunction read;

  // Counted as it is downloaded.
  std::atomic<guint64> written = 0;  // since all was forgotten; rather too much than too little
  std::atomic<guint64> settled = 0;  // since the last move; rather too little
  guint64 newest = 0;                // the last piece, which is not settled yet

  // Of whoever reads, and holds the lock of the source pad's stream, also while it moves the
  // download: of the range that grows,
  guint64 begin = 0;
  guint64 from = 0;   // where the last move led to
  guint64 end = 0;    // of what has been read, or less
  guint64 asked = 0;  // the same with what was given up meanwhile, or more
  // and of the others.
  std::optional<Range> before = std::nullopt;
  bool isAlone = true;      // there has been none
  bool hasStrayed = false;  // by the queue, when it may have left something overwritten behind

  bool isMoving = false;  // by us
  bool forgets = false;   // with that
  guint64 target = 0;     // of that
};

struct Sizes {
  guint64 ring = 0;
  guint64 ahead = 0;
};

Sizes sizesOf(const Ring& ring) {
  Sizes sizes;
  guint ahead = 0;
  g_object_get(ring.queue, "ring-buffer-max-size", &sizes.ring, "max-size-bytes", &ahead, nullptr);
  sizes.ahead = std::min<guint64>(ahead, sizes.ring);
  return sizes;
}

/// Something may be overwritten by the time that it is read.
bool mayLack(const Ring& ring, const Sizes& sizes) {
  return ring.written + sizes.ahead > sizes.ring;
}

guint64 settledEnd(const Ring& ring) { return std::max(ring.end, ring.from + ring.settled); }

/// Whether it is certainly there, or is waited for.
bool isReadable(const Ring& ring, const Sizes& sizes, guint64 offset) {
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

/// Whether the queue has to forget all when the download moves there. Nearby, where it may be in
/// the range that grows, or that will soon grow to it, another range would be one too many.
bool mustForget(const Ring& ring, const Sizes& sizes, guint64 offset) {
  const bool isFar = offset > ring.asked + sizes.ahead || offset + sizes.ahead < ring.begin;
  return mayLack(ring, sizes) || !ring.isAlone || !isFar;
}

bool isBeyondEnd(const Ring& ring, guint64 offset) {
  gint64 size = -1;
  return gst_pad_peer_query_duration(ring.sink, GST_FORMAT_BYTES, &size) && size >= 0 &&
         offset >= static_cast<guint64>(size);
}

bool isFlushing(GstPad* pad) {
  GST_OBJECT_LOCK(pad);
  const bool result = GST_PAD_IS_FLUSHING(pad);
  GST_OBJECT_UNLOCK(pad);
  return result;
}

/// As when it was activated.
void forgetAll(Ring& ring) {
  auto* const parent = GST_OBJECT(ring.queue);
  GST_PAD_ACTIVATEMODEFUNC(ring.source)(ring.source, parent, GST_PAD_MODE_PULL, TRUE);
  // Whoever wanted the reading to end meanwhile still does.
  if (isFlushing(ring.source))
    GST_PAD_EVENTFUNC(ring.source)(ring.source, parent, gst_event_new_flush_start());
  ring.written = 0;
  ring.before.reset();
  ring.isAlone = true;
  ring.hasStrayed = false;
}

/// Between the halves of a flush, where nothing is written and nobody reads. The queue is told
/// where the download begins before it does, for it would seek by itself until then.
void beginAnew(Ring& ring, GstEvent* flushStop) {
  auto* const parent = GST_OBJECT(ring.queue);
  const auto toSink = GST_PAD_EVENTFULLFUNC(ring.sink);
  // It takes one segment a flush, and the source's own is yet to come.
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
  if (isFlushing(ring.source)) return GST_FLOW_FLUSHING;
  // Where nobody tells the length, demuxers look for more behind what they know of.
  return isAhead ? GST_FLOW_EOS : GST_FLOW_ERROR;
}

GstFlowReturn readThere(Ring& ring, guint64 offset, guint length, GstBuffer** buffer) {
  const GstFlowReturn flow = ring.read(ring.source, GST_OBJECT(ring.queue), offset, length, buffer);
  if (flow != GST_FLOW_EOS) ring.asked = std::max(ring.asked, offset + length);
  if (flow == GST_FLOW_OK) ring.end = std::max(ring.end, offset + gst_buffer_get_size(*buffer));
  return flow;
}

GstFlowReturn onRead(GstPad* pad, GstObject*, guint64 offset, guint length, GstBuffer** buffer) {
  Ring& ring = *static_cast<Ring*>(pad->getrangedata);
  const Sizes sizes = sizesOf(ring);
  if (isReadable(ring, sizes, offset) || isBeyondEnd(ring, offset)) {
    const bool isGiven = *buffer != nullptr;
    const GstFlowReturn flow = readThere(ring, offset, length, buffer);
    if (flow != GST_FLOW_OK || !ring.hasStrayed) return flow;
    if (!isGiven) gst_clear_buffer(buffer);
  }
  const GstFlowReturn flow = moveTo(ring, offset, mustForget(ring, sizes, offset));
  return flow == GST_FLOW_OK ? readThere(ring, offset, length, buffer) : flow;
}

GstPadProbeReturn onBuffer(GstPad*, GstPadProbeInfo* info, gpointer data) {
  Ring& ring = *static_cast<Ring*>(data);
  const gsize size = gst_buffer_get_size(GST_PAD_PROBE_INFO_BUFFER(info));
  ring.written += size;
  ring.settled += std::exchange(ring.newest, size);
  return GST_PAD_PROBE_OK;
}

/// The queue goes on by itself where its other range ended.
GstPadProbeReturn onSeek(GstPad*, GstPadProbeInfo* info, gpointer data) {
  Ring& ring = *static_cast<Ring*>(data);
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_SEEK) return GST_PAD_PROBE_OK;
  GstFormat format = GST_FORMAT_UNDEFINED;
  gint64 start = 0;
  gst_event_parse_seek(event, nullptr, &format, nullptr, nullptr, &start, nullptr, nullptr);
  // Those of demuxers are in other formats, and lead nowhere.
  if (format != GST_FORMAT_BYTES || ring.isMoving) return GST_PAD_PROBE_OK;
  const Sizes sizes = sizesOf(ring);
  ring.hasStrayed = ring.hasStrayed || mayLack(ring, sizes);
  ring.from = ring.asked = static_cast<guint64>(start);
  ring.begin = ring.before ? std::min(ring.before->begin, ring.from) : ring.from;
  ring.end = std::max(ring.from, ring.begin + sizes.ahead) - sizes.ahead;
  ring.before.reset();
  ring.isAlone = false;
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn onFlush(GstPad*, GstPadProbeInfo* info, gpointer data) {
  Ring& ring = *static_cast<Ring*>(data);
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_FLUSH_STOP) return GST_PAD_PROBE_OK;
  if (ring.isMoving) beginAnew(ring, event);
  ring.settled = ring.newest = 0;
  return GST_PAD_PROBE_OK;
}

void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (isMadeBy(element, "queue2")) watchRing(element);
}

}  // namespace

void watchRing(GstElement* queue) {
  const GstRef<GstPad> sink(gst_element_get_static_pad(queue, "sink"));
  const GstRef<GstPad> source(gst_element_get_static_pad(queue, "src"));
  auto* const ring = new Ring{queue, sink.get(), source.get(), GST_PAD_GETRANGEFUNC(source.get())};
  g_object_set_data_full(G_OBJECT(queue), "vorlane-ring", ring,
                         [](gpointer data) { delete static_cast<Ring*>(data); });
  gst_pad_set_getrange_function_full(source.get(), onRead, ring, nullptr);
  gst_pad_add_probe(sink.get(), GST_PAD_PROBE_TYPE_BUFFER, onBuffer, ring, nullptr);
  gst_pad_add_probe(sink.get(), GST_PAD_PROBE_TYPE_EVENT_UPSTREAM, onSeek, ring, nullptr);
  gst_pad_add_probe(sink.get(), GST_PAD_PROBE_TYPE_EVENT_FLUSH, onFlush, ring, nullptr);
}

void watchRingsOf(GstElement* playbin) {
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(onElementAdded), nullptr);
}

}  // namespace box
