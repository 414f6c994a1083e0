#include "media/elements/ResourceSource.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <gst/base/gstbasesrc.h>
#include <gst/gst.h>

#include "media/elements/ResourceExtension.h"
#include "media/support/GstRef.h"
#include "streaming/playback/ReadGate.h"

namespace media {
namespace {

using streaming::ResourceReader;

constexpr std::string_view kURI = "vorlane-resource:///media";
constexpr guint kPushedBytes = 64 * 1024;

struct SourceState {
  std::string uri;
  std::shared_ptr<ResourceReader> reader;
  streaming::ReadGate gate;
  std::uint64_t next = 0;  // position of the next push
  std::atomic<bool> isReading = false;
};

struct ResourceSource {
  GstBaseSrc parent;
  SourceState* state;
};
struct ResourceSourceClass {
  GstBaseSrcClass parent;
};
GstBaseSrcClass* resourceSourceParent = nullptr;

SourceState& sourceState(gpointer object) { return *static_cast<ResourceSource*>(object)->state; }

bool canJump(const ResourceReader& reader) {
  return reader.isSeekable() && reader.icyInterval() == 0 && reader.size();
}

std::string fieldNamed(const streaming::HeaderFields& fields, std::string_view name) {
  for (const auto& [key, value] : fields)
    if (key.size() == name.size() && g_ascii_strncasecmp(key.data(), name.data(), key.size()) == 0)
      return value;
  return {};
}

void sendStationTags(GstBaseSrc* source, const streaming::HeaderFields& fields) {
  constexpr std::pair<const char*, const char*> kTags[] = {{"icy-name", GST_TAG_ORGANIZATION},
                                                           {"icy-genre", GST_TAG_GENRE},
                                                           {"icy-url", GST_TAG_HOMEPAGE}};
  GstRef<GstTagList> tags(gst_tag_list_new_empty());
  // Titles are sent as stream tags, which replace all earlier stream tags.
  gst_tag_list_set_scope(tags.get(), GST_TAG_SCOPE_GLOBAL);
  for (const auto& [field, tag] : kTags) {
    const std::string value = fieldNamed(fields, field);
    if (!value.empty() && g_utf8_validate(value.c_str(), -1, nullptr))
      gst_tag_list_add(tags.get(), GST_TAG_MERGE_REPLACE, tag, value.c_str(), nullptr);
  }
  // Sent with the first buffer, after the segment event.
  if (!gst_tag_list_is_empty(tags.get()))
    gst_element_send_event(GST_ELEMENT(source), gst_event_new_tag(tags.release()));
}

/// Returns the caps of raw samples (RFC 2586), or null for other types.
GstRef<GstCaps> capsOfLinearSamples(const std::string& mimeType) {
  const auto number = [&](std::string_view name, int fallback) {
    const auto at = mimeType.find(name);
    if (at == mimeType.npos) return fallback;
    int value = 0;
    std::from_chars(mimeType.data() + at + name.size(), mimeType.data() + mimeType.size(), value);
    return value > 0 ? value : fallback;
  };
  if (g_ascii_strncasecmp(mimeType.c_str(), "audio/L16", 9) != 0) return {};
  return GstRef<GstCaps>(gst_caps_new_simple("audio/x-unaligned-raw", "format", G_TYPE_STRING,
                                             "S16BE", "layout", G_TYPE_STRING, "interleaved",
                                             "rate", G_TYPE_INT, number("rate=", 44100), "channels",
                                             G_TYPE_INT, number("channels=", 1), nullptr));
}

void sendFormat(GstBaseSrc* source, const ResourceReader& reader) {
  GstRef<GstCaps> caps;
  if (reader.icyInterval() > 0) {
    caps.reset(gst_caps_new_simple("application/x-icy", "metadata-interval", G_TYPE_INT,
                                   static_cast<gint>(reader.icyInterval()), "content-type",
                                   G_TYPE_STRING, reader.mimeType().c_str(), nullptr));
  } else {
    caps = capsOfLinearSamples(reader.mimeType());
  }
  if (caps) gst_base_src_set_caps(source, caps.get());
  sendStationTags(source, reader.fields());
}

gboolean start(GstBaseSrc* source) {
  sourceState(source).next = 0;
  return TRUE;
}

gboolean unlock(GstBaseSrc* source) {
  sourceState(source).gate.setClosed(true);
  return TRUE;
}

gboolean unlockStop(GstBaseSrc* source) {
  SourceState& state = sourceState(source);
  // The base class clears the flag at once: wait until the read has returned.
  state.isReading.wait(true);
  state.gate.setClosed(false);
  return TRUE;
}

gboolean isSeekable(GstBaseSrc* source) {
  const auto& reader = sourceState(source).reader;
  return canJump(*reader);
}

gboolean sizeOf(GstBaseSrc* source, guint64* size) {
  const auto& reader = sourceState(source).reader;
  const auto known = reader->icyInterval() == 0 ? reader->size() : std::nullopt;
  if (known) *size = *known;
  return known.has_value();
}

/// Reads from `offset`: in pull mode the full size, otherwise what is available. Returns less at
/// the end.
GstFlowReturn readInto(GstBaseSrc* source, std::uint64_t offset, std::span<std::byte> into,
                       bool isPulled, std::size_t& count) {
  SourceState& state = sourceState(source);
  while (count < into.size()) {
    const auto result = state.reader->read(offset + count, into.subspan(count), state.gate);
    count += result.count;
    if (result.count > 0 && !isPulled) break;
    if (result.count > 0) continue;
    if (state.gate.isClosed()) return GST_FLOW_FLUSHING;
    if (!result.error) break;
    GST_ELEMENT_ERROR(source, RESOURCE, READ, (nullptr), ("%s", result.error->domain.c_str()));
    return GST_FLOW_ERROR;
  }
  return count > 0 ? GST_FLOW_OK : GST_FLOW_EOS;
}

GstFlowReturn create(GstBaseSrc* source, guint64 offset, guint size, GstBuffer** result) {
  SourceState& state = sourceState(source);
  const bool isPulled = GST_PAD_MODE(GST_BASE_SRC_PAD(source)) == GST_PAD_MODE_PULL;
  if (!isPulled) {
    if (state.next == 0) sendFormat(source, *state.reader);
    if (!canJump(*state.reader)) offset = state.next;
  }
  // The caller may provide the buffer.
  GstRef<GstBuffer> made(*result ? nullptr : gst_buffer_new_allocate(nullptr, size, nullptr));
  GstBuffer* const buffer = made ? made.get() : *result;
  GstMapInfo map;
  if (!buffer || !gst_buffer_map(buffer, &map, GST_MAP_WRITE)) return GST_FLOW_ERROR;
  std::size_t count = 0;
  const std::span<std::byte> bytes(reinterpret_cast<std::byte*>(map.data),
                                   std::min<std::size_t>(size, map.size));
  state.isReading = true;
  const GstFlowReturn flow = readInto(source, offset, bytes, isPulled, count);
  state.isReading = false;
  state.isReading.notify_all();
  gst_buffer_unmap(buffer, &map);
  if (flow != GST_FLOW_OK) return flow;
  gst_buffer_resize(buffer, 0, static_cast<gssize>(count));
  GST_BUFFER_OFFSET(buffer) = offset;
  GST_BUFFER_OFFSET_END(buffer) = offset + count;
  state.next = offset + count;
  if (made) *result = made.release();
  return GST_FLOW_OK;
}

/// The base class would report every source as seekable.
gboolean answer(GstBaseSrc* source, GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_URI) {
    gst_query_set_uri(query, sourceState(source).uri.c_str());
    return TRUE;
  }
  if (GST_QUERY_TYPE(query) != GST_QUERY_SCHEDULING || isSeekable(source))
    return resourceSourceParent->query(source, query);
  gst_query_set_scheduling(query, GST_SCHEDULING_FLAG_SEQUENTIAL, 1, -1, 0);
  gst_query_add_scheduling_mode(query, GST_PAD_MODE_PUSH);
  return TRUE;
}

void finalizeSource(GObject* object) {
  delete static_cast<ResourceSource*>(static_cast<gpointer>(object))->state;
  G_OBJECT_CLASS(resourceSourceParent)->finalize(object);
}

void initialiseSource(GTypeInstance* instance, gpointer) {
  auto* const source = static_cast<ResourceSource*>(static_cast<gpointer>(instance));
  source->state = new SourceState;
  gst_base_src_set_blocksize(&source->parent, kPushedBytes);
}

void initialiseSourceClass(gpointer type, gpointer) {
  resourceSourceParent = static_cast<GstBaseSrcClass*>(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = finalizeSource;
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  const GstRef<GstCaps> any(gst_caps_new_any());
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, any.get()));
  gst_element_class_set_static_metadata(element, "Resource source", "Source/Network",
                                        "Reads a resource at any place", "TVVorlane");
  auto* const source = static_cast<GstBaseSrcClass*>(type);
  source->start = start;
  source->unlock = unlock;
  source->unlock_stop = unlockStop;
  source->is_seekable = isSeekable;
  source->get_size = sizeOf;
  source->query = answer;
  source->create = create;
}

GType resourceSourceType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_BASE_SRC, "VorlaneResourceSource", sizeof(ResourceSourceClass),
      initialiseSourceClass, sizeof(ResourceSource), initialiseSource, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace

GstElement* makeResourceSource(std::shared_ptr<ResourceReader> reader) {
  auto* const source =
      static_cast<ResourceSource*>(g_object_new(resourceSourceType(), "name", "resource", nullptr));
  source->state->uri = std::string(kURI) + extensionOfResource(*reader);
  source->state->reader = std::move(reader);
  return GST_ELEMENT(source);
}

}  // namespace media
