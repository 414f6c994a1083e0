#include "media/pipeline/SeekShortcut.h"

#include <gst/video/video.h>

#include "media/support/GstRef.h"
#include "media/support/NalUnits.h"

namespace media {
namespace {

constexpr guint kFirstPictureType = 1;  // NAL unit types of slices
constexpr guint kLastPictureType = 5;

enum class Part { Other, Disposable, Needed };

Part partOf(guint8 head) {
  const guint type = head & 0x1f;
  if (type < kFirstPictureType || type > kLastPictureType) return Part::Other;
  return (head & 0x60) == 0 ? Part::Disposable : Part::Needed;
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
  const GstRef<GstCaps> caps(gst_pad_get_current_caps(pad));
  const auto format = nalFormatOf(caps.get());
  GstMapInfo map;
  if (!format || format->codec != NalFormat::Codec::H264 ||
      !gst_buffer_map(buffer, &map, GST_MAP_READ))
    return GST_PAD_PROBE_OK;
  const bool isDisposable = isDisposableH264(map.data, map.size, format->lengthSize);
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

bool isDisposableH264(const guint8* bytes, gsize size, std::size_t lengthSize) {
  NalReader nals({bytes, size}, lengthSize);
  bool found = false;
  while (const auto nal = nals.next()) {
    const Part part = partOf((*nal)[0]);
    if (part == Part::Needed) return false;
    found = found || part == Part::Disposable;
  }
  return found && !nals.isBroken();
}

void takeSeekShortcuts(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(onElementAdded), nullptr);
}

}  // namespace media
