#include "media/workarounds/FlvdemuxAccurateSeek.h"

#include <memory>
#include <mutex>
#include <optional>

#include "media/support/GstRef.h"

namespace media {
namespace {

/// The target of the last seek, as stream time, if the seek was accurate and forward. Seek and
/// segment events are handled on different threads.
class SoughtTime {
 public:
  void take(GstEvent* seek) {
    gdouble rate = 0;
    GstFormat format = GST_FORMAT_UNDEFINED;
    GstSeekFlags flags = GST_SEEK_FLAG_NONE;
    GstSeekType startType = GST_SEEK_TYPE_NONE;
    gint64 start = 0;
    gst_event_parse_seek(seek, &rate, &format, &flags, &startType, &start, nullptr, nullptr);
    const bool isExact = format == GST_FORMAT_TIME && rate > 0 && start >= 0 &&
                         startType == GST_SEEK_TYPE_SET && (flags & GST_SEEK_FLAG_ACCURATE);
    const std::lock_guard lock(_mutex);
    _time = isExact ? std::optional(static_cast<GstClockTime>(start)) : std::nullopt;
  }
  std::optional<GstClockTime> get() const {
    const std::lock_guard lock(_mutex);
    return _time;
  }

 private:
  mutable std::mutex _mutex;
  std::optional<GstClockTime> _time;
};

using SoughtTimePointer = std::shared_ptr<SoughtTime>;

/// Returns null if `event` needs no correction.
GstEvent* correctedSegment(GstEvent* event, GstClockTime sought) {
  GstSegment segment;
  gst_event_copy_segment(event, &segment);
  if (segment.format != GST_FORMAT_TIME || segment.rate <= 0) return nullptr;
  const guint64 start = gst_segment_position_from_stream_time(&segment, GST_FORMAT_TIME, sought);
  if (!GST_CLOCK_TIME_IS_VALID(start) || start <= segment.start) return nullptr;
  segment.start = segment.position = start;
  segment.time = sought;
  GstEvent* const corrected = gst_event_new_segment(&segment);
  gst_event_set_seqnum(corrected, gst_event_get_seqnum(event));
  return corrected;
}

GstPadProbeReturn watchEvent(GstPad*, GstPadProbeInfo* info, gpointer data) {
  SoughtTime& sought = **static_cast<SoughtTimePointer*>(data);
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK) sought.take(event);
  if (GST_EVENT_TYPE(event) != GST_EVENT_SEGMENT) return GST_PAD_PROBE_OK;
  const auto time = sought.get();
  if (GstEvent* const corrected = time ? correctedSegment(event, *time) : nullptr) {
    gst_event_unref(event);
    GST_PAD_PROBE_INFO_DATA(info) = corrected;
  }
  return GST_PAD_PROBE_OK;
}

void watchFlvStream(GstElement*, GstPad* pad, gpointer sought) {
  gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_BOTH, watchEvent,
                    new SoughtTimePointer(*static_cast<SoughtTimePointer*>(sought)),
                    [](gpointer data) { delete static_cast<SoughtTimePointer*>(data); });
}

void watchFlvDemuxer(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (!isFromFactory(element, "flvdemux")) return;
  g_signal_connect_data(
      element, "pad-added", G_CALLBACK(watchFlvStream),
      new SoughtTimePointer(std::make_shared<SoughtTime>()),
      [](gpointer data, GClosure*) { delete static_cast<SoughtTimePointer*>(data); },
      GConnectFlags(0));
}

}  // namespace

void installFlvdemuxAccurateSeek(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(watchFlvDemuxer), nullptr);
}

}  // namespace media
