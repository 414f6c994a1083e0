#include "box/media/SeekShortcut.h"

#include <cstring>
#include <optional>
#include <string_view>

#include "box/media/GstRef.h"

namespace box {
namespace {

constexpr guint kFirstPictureType = 1;  // of those that are parts of a picture
constexpr guint kLastPictureType = 5;
constexpr gsize kConfigurationBytes = 5;

enum class Part { Other, Disposable, Needed };

Part partOf(guint8 head) {
  const guint type = head & 0x1f;
  if (type < kFirstPictureType || type > kLastPictureType) return Part::Other;
  return (head & 0x60) == 0 ? Part::Disposable : Part::Needed;
}

bool hasDisposableLengths(const guint8* bytes, gsize size, guint lengthSize) {
  bool found = false;
  for (gsize at = 0; at < size;) {
    if (size - at <= lengthSize) return false;
    gsize length = 0;
    for (guint index = 0; index < lengthSize; ++index) length = length << 8 | bytes[at++];
    if (length == 0 || length > size - at) return false;
    const Part part = partOf(bytes[at]);
    if (part == Part::Needed) return false;
    found = found || part == Part::Disposable;
    at += length;
  }
  return found;
}

bool hasDisposableCodes(const guint8* bytes, gsize size) {
  using namespace std::string_view_literals;
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const auto code = "\0\0\1"sv;
  bool found = false;
  for (auto at = text.find(code); at != text.npos; at = text.find(code, at)) {
    at += code.size();
    if (at == size) return false;
    const Part part = partOf(bytes[at]);
    if (part == Part::Needed) return false;
    found = found || part == Part::Disposable;
  }
  return found;
}

/// None where the pad's media are of another kind.
std::optional<guint> lengthSizeOf(GstPad* pad) {
  const GstRef<GstCaps> caps(gst_pad_get_current_caps(pad));
  const GstStructure* media = caps ? gst_caps_get_structure(caps.get(), 0) : nullptr;
  if (!media || !gst_structure_has_name(media, "video/x-h264")) return std::nullopt;
  const char* format = gst_structure_get_string(media, "stream-format");
  if (!format) return std::nullopt;
  if (std::strcmp(format, "byte-stream") == 0) return 0;
  const GValue* configuration = gst_structure_get_value(media, "codec_data");
  GstBuffer* buffer = configuration ? gst_value_get_buffer(configuration) : nullptr;
  guint8 head[kConfigurationBytes];
  if (!buffer || gst_buffer_extract(buffer, 0, head, sizeof head) != sizeof head)
    return std::nullopt;
  return (head[4] & 3u) + 1;
}

/// Whether it ends before what is to be shown.
bool isBeforeSegment(GstPad* pad, GstBuffer* buffer) {
  if (!GST_BUFFER_PTS_IS_VALID(buffer) || !GST_BUFFER_DURATION_IS_VALID(buffer)) return false;
  const GstRef<GstEvent> event(gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0));
  if (!event) return false;
  const GstSegment* segment = nullptr;
  gst_event_parse_segment(event.get(), &segment);
  return segment->format == GST_FORMAT_TIME && segment->rate > 0 &&
         GST_BUFFER_PTS(buffer) + GST_BUFFER_DURATION(buffer) < segment->start;
}

GstPadProbeReturn onBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer) {
  GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
  if (!isBeforeSegment(pad, buffer)) return GST_PAD_PROBE_OK;
  const auto lengthSize = lengthSizeOf(pad);
  GstMapInfo map;
  if (!lengthSize || !gst_buffer_map(buffer, &map, GST_MAP_READ)) return GST_PAD_PROBE_OK;
  const bool isDisposable = isDisposableH264(map.data, map.size, *lengthSize);
  gst_buffer_unmap(buffer, &map);
  return isDisposable ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  if (!factory ||
      !gst_element_factory_list_is_type(
          factory, GST_ELEMENT_FACTORY_TYPE_DECODER | GST_ELEMENT_FACTORY_TYPE_MEDIA_VIDEO))
    return;
  const GstRef<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  if (pad) gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, onBuffer, nullptr, nullptr);
}

}  // namespace

bool isDisposableH264(const guint8* bytes, gsize size, guint lengthSize) {
  return lengthSize == 0 ? hasDisposableCodes(bytes, size)
                         : hasDisposableLengths(bytes, size, lengthSize);
}

void takeSeekShortcuts(GstElement* playbin) {
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(onElementAdded), nullptr);
}

}  // namespace box
