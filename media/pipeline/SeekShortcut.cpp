#include "media/pipeline/SeekShortcut.h"

#include <cstring>
#include <optional>
#include <string_view>

#include <gst/video/video.h>

#include "media/support/GstRef.h"

namespace media {
namespace {

constexpr guint kFirstPictureType = 1;  // NAL unit types of slices
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

/// Returns nullopt for other codecs.
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

/// Returns whether a picture ends before the segment, so that the decoder would drop it.
bool isBefore(const GstSegment& segment, GstClockTime time, GstClockTime duration) {
  return GST_CLOCK_TIME_IS_VALID(time) && GST_CLOCK_TIME_IS_VALID(duration) &&
         time < segment.start &&
         !gst_segment_clip(&segment, GST_FORMAT_TIME, time, time + duration, nullptr, nullptr);
}

/// Returns whether frames may be marked as decode-only. The libav decoders of GStreamer 1.26 free
/// such frames too early, which damages frames that refer to them.
bool canMarkPictures() {
  static const bool can = [] {
    guint major = 0;
    guint minor = 0;
    guint micro = 0;
    guint nano = 0;
    gst_version(&major, &minor, &micro, &nano);
    return major == 1 && minor <= 22;
  }();
  return can;
}

/// Marks the frames in the decoder that are before the segment as decode-only. Otherwise each is
/// copied for output, because the decoder still refers to it, and then dropped.
void keepIn(GstVideoDecoder* decoder, const GstSegment& segment) {
  GST_VIDEO_DECODER_STREAM_LOCK(decoder);
  GList* const pictures = gst_video_decoder_get_frames(decoder);
  for (const GList* each = pictures; each; each = each->next) {
    auto* const picture = static_cast<GstVideoCodecFrame*>(each->data);
    if (isBefore(segment, picture->pts, picture->duration))
      GST_VIDEO_CODEC_FRAME_SET_DECODE_ONLY(picture);
  }
  g_list_free_full(pictures, [](gpointer picture) {
    gst_video_codec_frame_unref(static_cast<GstVideoCodecFrame*>(picture));
  });
  GST_VIDEO_DECODER_STREAM_UNLOCK(decoder);
}

GstPadProbeReturn onBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer) {
  const GstRef<GstEvent> event(gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0));
  if (!event) return GST_PAD_PROBE_OK;
  const GstSegment* segment = nullptr;
  gst_event_parse_segment(event.get(), &segment);
  if (segment->format != GST_FORMAT_TIME || segment->rate <= 0) return GST_PAD_PROBE_OK;
  if (canMarkPictures()) {
    const GstRef<GstElement> decoder(gst_pad_get_parent_element(pad));
    if (decoder && GST_IS_VIDEO_DECODER(decoder.get()))
      keepIn(GST_VIDEO_DECODER(decoder.get()), *segment);
  }
  GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
  if (!isBefore(*segment, GST_BUFFER_PTS(buffer), GST_BUFFER_DURATION(buffer)))
    return GST_PAD_PROBE_OK;
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

void takeSeekShortcuts(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(onElementAdded), nullptr);
}

}  // namespace media
