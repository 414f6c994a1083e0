#include "media/texts/TextStream.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "media/support/GstRef.h"
#include "media/support/GstTime.h"
#include "media/texts/TTMLText.h"
#include "media/texts/TextFormats.h"
#include "media/texts/WebVTTText.h"

namespace media {
namespace {

constexpr const char* kElementName = "vorlanetextstream";
constexpr const char* kSinkCaps = "application/x-subtitle-vtt; application/ttml+xml";
constexpr const char* kSourceCaps = "text/x-raw, format=(string)utf8";
/// Limit of a whole document, and of one buffer.
constexpr std::size_t kByteLimit = std::size_t{16} << 20;

GQuark cueQuark() {
  static const GQuark quark = g_quark_from_static_string("vorlane-subtitle-cue");
  return quark;
}

/// Only used on the streaming thread.
struct State {
  bool isTTML = false;
  bool hasPayloads = false;  // the caps have kCuePayload
  /// The segment is not in time format: all bytes until EOS are one document.
  bool isWhole = false;
  std::string bytes;
  WebVTTReader reader;
};

struct TextStream {
  GstElement parent;
  GstPad* source;
  State* state;
};
struct TextStreamClass {
  GstElementClass parent;
};
GstElementClass* parentClass = nullptr;

TextStream& textStream(gpointer object) { return *static_cast<TextStream*>(object); }

GstClockTime nanoseconds(double seconds) {
  constexpr double kMax = 1e9;
  return static_cast<GstClockTime>(std::clamp(seconds, 0.0, kMax) *
                                   static_cast<double>(GST_SECOND));
}

GstFlowReturn push(TextStream& self, SubtitleCue cue) {
  GstBuffer* buffer = gst_buffer_new_memdup(cue.text.data(), cue.text.size());
  GST_BUFFER_PTS(buffer) = nanoseconds(cue.start);
  if (cue.duration != SubtitleCue::kUntilNext)
    GST_BUFFER_DURATION(buffer) = nanoseconds(cue.duration);
  gst_mini_object_set_qdata(GST_MINI_OBJECT(buffer), cueQuark(), new SubtitleCue(std::move(cue)),
                            [](gpointer data) { delete static_cast<SubtitleCue*>(data); });
  return gst_pad_push(self.source, buffer);
}

GstFlowReturn pushAll(TextStream& self, std::vector<SubtitleCue> cues) {
  for (SubtitleCue& each : cues)
    if (const GstFlowReturn flow = push(self, std::move(each)); flow != GST_FLOW_OK) return flow;
  return GST_FLOW_OK;
}

std::vector<SubtitleCue> cuesOf(State& state, std::string_view bytes) {
  return state.isTTML ? cuesOfTTMLSample(bytes) : state.reader.read(utf8Of(bytes));
}

/// A TTML document in a stream may have cues outside of the time range of its buffer: they are cut
/// or dropped. If no cue is within the range, the times are relative to the begin of the buffer.
void clipToBuffer(std::vector<SubtitleCue>& cues, double begin, double end) {
  const auto overlaps = [&](const SubtitleCue& cue) {
    return cue.start < end &&
           (cue.duration == SubtitleCue::kUntilNext || cue.start + cue.duration > begin);
  };
  if (std::none_of(cues.begin(), cues.end(), overlaps))
    for (SubtitleCue& each : cues) each.start += begin;
  std::erase_if(cues, [&](const SubtitleCue& each) { return !overlaps(each); });
  for (SubtitleCue& each : cues) {
    const double last =
        each.duration == SubtitleCue::kUntilNext ? end : std::min(each.start + each.duration, end);
    each.start = std::max(each.start, begin);
    each.duration = last - each.start;
  }
}

GstFlowReturn takePayload(TextStream& self, GstBuffer* buffer, std::string_view bytes) {
  if (!GST_BUFFER_PTS_IS_VALID(buffer)) return GST_FLOW_OK;
  const double duration = GST_BUFFER_DURATION_IS_VALID(buffer)
                              ? secondsOf(GST_BUFFER_DURATION(buffer))
                              : SubtitleCue::kUntilNext;
  auto cue = self.state->reader.readPayload(utf8Of(bytes), secondsOf(GST_BUFFER_PTS(buffer)),
                                            duration, WebVTTReader::TimeStamps::OfCue);
  return cue ? push(self, std::move(*cue)) : GST_FLOW_OK;
}

GstFlowReturn takeBuffer(GstPad*, GstObject* object, GstBuffer* given) {
  TextStream& self = textStream(object);
  const GstRef<GstBuffer> buffer(given);
  GstMapInfo map;
  if (!gst_buffer_map(given, &map, GST_MAP_READ)) return GST_FLOW_OK;
  const std::string_view bytes(reinterpret_cast<const char*>(map.data), map.size);
  std::vector<SubtitleCue> cues;
  State& state = *self.state;
  if (state.hasPayloads) {
    const GstFlowReturn flow = takePayload(self, given, bytes);
    gst_buffer_unmap(given, &map);
    return flow;
  }
  if (state.isWhole) {
    if (state.bytes.size() + bytes.size() <= kByteLimit) state.bytes += bytes;
  } else if (bytes.size() <= kByteLimit) {
    cues = cuesOf(state, bytes);
  }
  gst_buffer_unmap(given, &map);
  if (state.isTTML && !state.isWhole && GST_BUFFER_PTS_IS_VALID(given) &&
      GST_BUFFER_DURATION_IS_VALID(given)) {
    const double begin = secondsOf(GST_BUFFER_PTS(given));
    clipToBuffer(cues, begin, begin + secondsOf(GST_BUFFER_DURATION(given)));
  }
  return pushAll(self, std::move(cues));
}

/// Reads style sheets and regions that apply to the whole stream.
void readHead(State& state, GstBuffer* head) {
  GstMapInfo map;
  if (!gst_buffer_map(head, &map, GST_MAP_READ)) return;
  state.reader.read(utf8Of({reinterpret_cast<const char*>(map.data), map.size}));
  gst_buffer_unmap(head, &map);
}

void takeCaps(TextStream& self, GstEvent* event) {
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  State& state = *self.state;
  const GstStructure* const form = gst_caps_get_structure(caps, 0);
  state.isTTML = gst_structure_has_name(form, "application/ttml+xml");
  const gchar* const payload = gst_structure_get_string(form, kCuePayload);
  state.hasPayloads = payload != nullptr;
  const GValue* const data = gst_structure_get_value(form, "codec_data");
  if (payload && data && GST_VALUE_HOLDS_BUFFER(data)) readHead(state, gst_value_get_buffer(data));
  const GstRef<GstCaps> out(gst_caps_from_string(kSourceCaps));
  gst_pad_push_event(self.source, gst_event_new_caps(out.get()));
}

gboolean takeEvent(GstPad* pad, GstObject* object, GstEvent* event) {
  TextStream& self = textStream(object);
  State& state = *self.state;
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_CAPS:
      takeCaps(self, event);
      gst_event_unref(event);
      return TRUE;
    case GST_EVENT_SEGMENT: {
      const GstSegment* segment = nullptr;
      gst_event_parse_segment(event, &segment);
      state.isWhole = segment->format != GST_FORMAT_TIME;
      if (!state.isWhole) break;
      gst_event_unref(event);
      GstSegment time;
      gst_segment_init(&time, GST_FORMAT_TIME);
      return gst_pad_push_event(self.source, gst_event_new_segment(&time));
    }
    case GST_EVENT_FLUSH_STOP:
      state.bytes.clear();
      break;
    case GST_EVENT_EOS:
      pushAll(self, cuesOf(state, std::exchange(state.bytes, {})));
      break;
    default:
      break;
  }
  return gst_pad_event_default(pad, object, event);
}

void finalize(GObject* object) {
  delete textStream(object).state;
  G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initialiseInstance(GTypeInstance* instance, gpointer type) {
  TextStream& self = textStream(instance);
  self.state = new State;
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  GstPad* sink =
      gst_pad_new_from_template(gst_element_class_get_pad_template(element, "sink"), "sink");
  gst_pad_set_chain_function(sink, takeBuffer);
  gst_pad_set_event_function(sink, takeEvent);
  gst_element_add_pad(&self.parent, sink);
  self.source =
      gst_pad_new_from_template(gst_element_class_get_pad_template(element, "src"), "src");
  gst_pad_use_fixed_caps(self.source);
  gst_element_add_pad(&self.parent, self.source);
}

void initialiseClass(gpointer type, gpointer) {
  parentClass = static_cast<GstElementClass*>(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = finalize;
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  const GstRef<GstCaps> in(gst_caps_from_string(kSinkCaps));
  const GstRef<GstCaps> out(gst_caps_from_string(kSourceCaps));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, in.get()));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, out.get()));
  gst_element_class_set_static_metadata(element, "Text stream parser", "Codec/Parser/Subtitle",
                                        "Reads WebVTT and TTML with looks and places", "TVVorlane");
}

GType textStreamType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_ELEMENT, "VorlaneTextStream", sizeof(TextStreamClass), initialiseClass,
      sizeof(TextStream), initialiseInstance, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace

void registerTextStream() {
  gst_element_register(nullptr, kElementName, GST_RANK_PRIMARY + 100, textStreamType());
}

const SubtitleCue* attachedCue(GstBuffer* buffer) {
  return static_cast<const SubtitleCue*>(
      gst_mini_object_get_qdata(GST_MINI_OBJECT(buffer), cueQuark()));
}

}  // namespace media
