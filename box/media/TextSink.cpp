#include "box/media/TextSink.h"

#include <string_view>
#include <utility>

namespace box {
namespace {

double secondsOf(GstClockTime nanoseconds) {
  return static_cast<double>(nanoseconds) / static_cast<double>(GST_SECOND);
}

bool isText(const GstCaps* caps) {
  return caps && !gst_caps_is_empty(caps) &&
         gst_structure_has_name(gst_caps_get_structure(caps, 0), "text/x-raw");
}

bool isMarkup(const GstCaps* caps) {
  const gchar* format = gst_structure_get_string(gst_caps_get_structure(caps, 0), "format");
  return format && std::string_view(format) == "pango-markup";
}

}  // namespace

SubtitleCue cueOf(GstBuffer* buffer, const GstSegment& segment, const GstCaps* caps) {
  SubtitleCue cue;
  cue.duration = 0;
  if (!isText(caps) || segment.format != GST_FORMAT_TIME || !GST_BUFFER_PTS_IS_VALID(buffer))
    return cue;
  // One that is under way where the segment begins has its own beginning all the same.
  guint64 start = 0;
  if (gst_segment_to_stream_time_full(&segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer), &start) !=
      1)
    return cue;
  GstMapInfo bytes;
  if (!gst_buffer_map(buffer, &bytes, GST_MAP_READ)) return cue;
  std::string_view text(reinterpret_cast<const char*>(bytes.data), bytes.size);
  text = text.substr(0, text.find('\0'));
  cue.start = secondsOf(start);
  if (const GstClockTime duration = GST_BUFFER_DURATION(buffer); GST_CLOCK_TIME_IS_VALID(duration))
    cue.duration = secondsOf(duration);
  else
    cue.duration = SubtitleCue::kUntilNext;
  cue.text = isMarkup(caps) ? plainTextOfMarkup(text) : std::string(text);
  gst_buffer_unmap(buffer, &bytes);
  return cue;
}

TextSink::TextSink(std::shared_ptr<SubtitleCues> cues, std::function<void()> changed)
    : _cues(std::move(cues)), _changed(std::move(changed)) {
  gst_segment_init(&_segment, GST_FORMAT_UNDEFINED);
  GstElement* sink = gst_element_factory_make("appsink", "text-sink");
  if (!sink) return;
  _element.reset(GST_ELEMENT(gst_object_ref_sink(sink)));
  // Pictures of text are taken as well, and let go: refused, they would end the whole pipeline.
  g_object_set(sink, "sync", FALSE, "async", FALSE, "wait-on-eos", FALSE, "emit-signals", FALSE,
               nullptr);
  const GstRef<GstPad> pad(gst_element_get_static_pad(sink, "sink"));
  gst_pad_add_probe(
      pad.get(),
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
      _onData, this, nullptr);
}

GstPadProbeReturn TextSink::_onData(GstPad*, GstPadProbeInfo* info, gpointer self) {
  auto& me = *static_cast<TextSink*>(self);
  if (info->type & GST_PAD_PROBE_TYPE_BUFFER) {
    me._take(GST_PAD_PROBE_INFO_BUFFER(info));
    return GST_PAD_PROBE_DROP;
  }
  me._handle(GST_PAD_PROBE_INFO_EVENT(info));
  return GST_PAD_PROBE_OK;
}

void TextSink::_handle(GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
    gst_event_copy_segment(event, &_segment);
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    _caps.reset(caps ? gst_caps_ref(caps) : nullptr);
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_STREAM_START) {
    const gchar* id = nullptr;
    gst_event_parse_stream_start(event, &id);
    if (id && std::exchange(_streamID, id) != id) _cues->clear();
  }
}

void TextSink::_take(GstBuffer* buffer) {
  SubtitleCue cue = cueOf(buffer, _segment, _caps.get());
  if (cue.text.empty() && cue.duration == 0) return;
  _cues->add(std::move(cue));
  _changed();
}

}  // namespace box
