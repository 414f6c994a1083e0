#include "media/texts/ass/AssStream.h"

#include <array>
#include <string_view>
#include <utility>

#include "media/support/GstRef.h"

namespace media {
namespace {

constexpr const char* kAssElementName = "vorlaneassstream";
constexpr const char* kAssSinkCaps = "application/x-ass; application/x-ssa";
constexpr const char* kAssSourceCaps = "text/x-raw, format=(string)utf8";
constexpr const char* kAssHeader = "ass-header";

struct AssStream {
  GstElement parent;
  GstPad* source;
};
struct AssStreamClass {
  GstElementClass parent;
};

AssStream& assStream(gpointer object) { return *static_cast<AssStream*>(object); }

GstFlowReturn passEvent(GstPad*, GstObject* object, GstBuffer* buffer) {
  return gst_pad_push(assStream(object).source, buffer);
}

void passCaps(AssStream& self, GstEvent* event) {
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  const GstRef<GstCaps> out(gst_caps_from_string(kAssSourceCaps));
  GstRef<GstBuffer> none;
  const GValue* const data = gst_structure_get_value(gst_caps_get_structure(caps, 0), "codec_data");
  GstBuffer* header = data && GST_VALUE_HOLDS_BUFFER(data) ? gst_value_get_buffer(data) : nullptr;
  if (!header) {
    none.reset(gst_buffer_new());
    header = none.get();
  }
  gst_caps_set_simple(out.get(), kAssHeader, GST_TYPE_BUFFER, header, nullptr);
  gst_pad_push_event(self.source, gst_event_new_caps(out.get()));
}

gboolean takeAssEvent(GstPad* pad, GstObject* object, GstEvent* event) {
  if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return gst_pad_event_default(pad, object, event);
  const GstRef<GstEvent> owned(event);
  passCaps(assStream(object), event);
  return TRUE;
}

void initialiseAssInstance(GTypeInstance* instance, gpointer type) {
  AssStream& self = assStream(instance);
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  GstPad* sink =
      gst_pad_new_from_template(gst_element_class_get_pad_template(element, "sink"), "sink");
  gst_pad_set_chain_function(sink, passEvent);
  gst_pad_set_event_function(sink, takeAssEvent);
  gst_element_add_pad(&self.parent, sink);
  self.source =
      gst_pad_new_from_template(gst_element_class_get_pad_template(element, "src"), "src");
  gst_pad_use_fixed_caps(self.source);
  gst_element_add_pad(&self.parent, self.source);
}

void initialiseAssClass(gpointer type, gpointer) {
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  const GstRef<GstCaps> in(gst_caps_from_string(kAssSinkCaps));
  const GstRef<GstCaps> out(gst_caps_from_string(kAssSourceCaps));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, in.get()));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, out.get()));
  gst_element_class_set_static_metadata(element, "ASS stream", "Codec/Parser/Subtitle",
                                        "Passes packets of ASS on", "TVVorlane");
}

GType assStreamType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_ELEMENT, "VorlaneAssStream", sizeof(AssStreamClass), initialiseAssClass,
      sizeof(AssStream), initialiseAssInstance, static_cast<GTypeFlags>(0));
  return type;
}

std::string contentOf(GstBuffer* buffer) {
  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return {};
  std::string content(reinterpret_cast<const char*>(map.data), map.size);
  gst_buffer_unmap(buffer, &map);
  return content;
}

/// Recognises TrueType and OpenType fonts and collections of them.
bool isFont(GstBuffer* buffer) {
  std::array<char, 4> head{};
  if (gst_buffer_extract(buffer, 0, head.data(), head.size()) != head.size()) return false;
  const std::string_view mark(head.data(), head.size());
  using namespace std::string_view_literals;
  return mark == "\0\1\0\0"sv || mark == "OTTO" || mark == "ttcf" || mark == "true";
}

std::optional<AttachedFont> fontOf(GstSample* sample) {
  GstBuffer* const buffer = gst_sample_get_buffer(sample);
  const GstStructure* const info = gst_sample_get_info(sample);
  if (!buffer || gst_buffer_get_size(buffer) > kFontFileBytes || !isFont(buffer))
    return std::nullopt;
  const gchar* const name = info ? gst_structure_get_string(info, "filename") : nullptr;
  return AttachedFont{name ? name : "", contentOf(buffer)};
}

}  // namespace

void registerAssStream() {
  gst_element_register(nullptr, kAssElementName, GST_RANK_PRIMARY + 100, assStreamType());
}

std::optional<std::string> assHeaderOf(const GstCaps* caps) {
  if (!caps || gst_caps_is_empty(caps)) return std::nullopt;
  const GValue* const header = gst_structure_get_value(gst_caps_get_structure(caps, 0), kAssHeader);
  if (!header || !GST_VALUE_HOLDS_BUFFER(header)) return std::nullopt;
  return contentOf(gst_value_get_buffer(header));
}

std::vector<AttachedFont> fontsOf(const GstTagList* tags) {
  std::vector<AttachedFont> fonts;
  const guint count = gst_tag_list_get_tag_size(tags, GST_TAG_ATTACHMENT);
  for (guint index = 0; index < count; ++index) {
    GstSample* sample = nullptr;
    if (!gst_tag_list_get_sample_index(tags, GST_TAG_ATTACHMENT, index, &sample)) continue;
    const GstRef<GstSample> owned(sample);
    if (auto font = fontOf(sample)) fonts.push_back(*std::move(font));
  }
  return fonts;
}

}  // namespace media
