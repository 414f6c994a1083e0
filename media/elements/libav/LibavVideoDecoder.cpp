#include <cstdint>
#include <cstring>
#include <utility>

#include <gst/video/gstvideodecoder.h>
#include <gst/video/video.h>

#include "media/elements/libav/LibavCaps.h"
#include "media/elements/libav/LibavCodec.h"
#include "media/elements/libav/LibavDecoder.h"
#include "media/support/GstRef.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace media {
namespace {

/// Number of packets that may wait for their picture.
constexpr guint32 kMaxPendingPackets = 64;

constexpr const char* kH264Caps =
    "video/x-h264, stream-format=(string){avc, byte-stream}, alignment=(string)au";

struct VideoDecoderState {
  std::unique_ptr<LibavCodec> codec;
  GstVideoCodecState* input = nullptr;
  GstVideoInfo format{};
  bool hasFormat = false;
  bool isInterlaced = false;  // some pictures are
};

struct LibavVideoDecoder {
  GstVideoDecoder parent;
  VideoDecoderState* state;
};
struct LibavVideoDecoderClass {
  GstVideoDecoderClass parent;
};
GObjectClass* videoDecoderParent = nullptr;

VideoDecoderState& videoState(gpointer element) {
  return *static_cast<LibavVideoDecoder*>(element)->state;
}

constexpr std::pair<AVPixelFormat, GstVideoFormat> kPixelFormats[] = {
    {AV_PIX_FMT_YUV420P, GST_VIDEO_FORMAT_I420},
    {AV_PIX_FMT_YUVJ420P, GST_VIDEO_FORMAT_I420},
    {AV_PIX_FMT_YUV422P, GST_VIDEO_FORMAT_Y42B},
    {AV_PIX_FMT_YUVJ422P, GST_VIDEO_FORMAT_Y42B},
    {AV_PIX_FMT_YUV444P, GST_VIDEO_FORMAT_Y444},
    {AV_PIX_FMT_YUVJ444P, GST_VIDEO_FORMAT_Y444},
    {AV_PIX_FMT_YUV410P, GST_VIDEO_FORMAT_YUV9},
    {AV_PIX_FMT_YUV411P, GST_VIDEO_FORMAT_Y41B},
    {AV_PIX_FMT_YUVA420P, GST_VIDEO_FORMAT_A420},
    {AV_PIX_FMT_NV12, GST_VIDEO_FORMAT_NV12},
    {AV_PIX_FMT_NV21, GST_VIDEO_FORMAT_NV21},
    {AV_PIX_FMT_YUYV422, GST_VIDEO_FORMAT_YUY2},
    {AV_PIX_FMT_UYVY422, GST_VIDEO_FORMAT_UYVY},
    {AV_PIX_FMT_YUV420P10LE, GST_VIDEO_FORMAT_I420_10LE},
    {AV_PIX_FMT_YUV422P10LE, GST_VIDEO_FORMAT_I422_10LE},
    {AV_PIX_FMT_YUV444P10LE, GST_VIDEO_FORMAT_Y444_10LE},
    {AV_PIX_FMT_YUV420P12LE, GST_VIDEO_FORMAT_I420_12LE},
    {AV_PIX_FMT_YUV422P12LE, GST_VIDEO_FORMAT_I422_12LE},
    {AV_PIX_FMT_YUV444P12LE, GST_VIDEO_FORMAT_Y444_12LE},
    {AV_PIX_FMT_YUVA444P10LE, GST_VIDEO_FORMAT_A444_10LE},
    {AV_PIX_FMT_GBRP, GST_VIDEO_FORMAT_GBR},
    {AV_PIX_FMT_GBRP10LE, GST_VIDEO_FORMAT_GBR_10LE},
    {AV_PIX_FMT_GBRAP, GST_VIDEO_FORMAT_GBRA},
    {AV_PIX_FMT_GRAY8, GST_VIDEO_FORMAT_GRAY8},
    {AV_PIX_FMT_GRAY16LE, GST_VIDEO_FORMAT_GRAY16_LE},
    {AV_PIX_FMT_RGB24, GST_VIDEO_FORMAT_RGB},
    {AV_PIX_FMT_BGR24, GST_VIDEO_FORMAT_BGR},
    {AV_PIX_FMT_RGBA, GST_VIDEO_FORMAT_RGBA},
    {AV_PIX_FMT_BGRA, GST_VIDEO_FORMAT_BGRA},
    {AV_PIX_FMT_ARGB, GST_VIDEO_FORMAT_ARGB},
    {AV_PIX_FMT_ABGR, GST_VIDEO_FORMAT_ABGR},
    {AV_PIX_FMT_0RGB, GST_VIDEO_FORMAT_xRGB},
    {AV_PIX_FMT_0BGR, GST_VIDEO_FORMAT_xBGR},
    {AV_PIX_FMT_RGB0, GST_VIDEO_FORMAT_RGBx},
    {AV_PIX_FMT_BGR0, GST_VIDEO_FORMAT_BGRx},
    {AV_PIX_FMT_RGB565LE, GST_VIDEO_FORMAT_RGB16},
    {AV_PIX_FMT_RGB555LE, GST_VIDEO_FORMAT_RGB15},
    {AV_PIX_FMT_PAL8, GST_VIDEO_FORMAT_RGB8P},
};

GstVideoFormat videoFormatOf(int format) {
  for (const auto& [theirs, ours] : kPixelFormats)
    if (theirs == format) return ours;
  return GST_VIDEO_FORMAT_UNKNOWN;
}

struct Fields {
  bool areInterlaced = false;
  bool isTopFirst = false;
};

Fields fieldsOf(const AVFrame& frame) {
#ifdef AV_FRAME_FLAG_INTERLACED
  return {(frame.flags & AV_FRAME_FLAG_INTERLACED) != 0,
          (frame.flags & AV_FRAME_FLAG_TOP_FIELD_FIRST) != 0};
#else
  return {frame.interlaced_frame != 0, frame.top_field_first != 0};
#endif
}

GstVideoColorimetry usualColors(GstVideoFormat format, const AVFrame& frame) {
  GstVideoInfo info;
  gst_video_info_set_format(&info, format, static_cast<guint>(frame.width),
                            static_cast<guint>(frame.height));
  return info.colorimetry;
}

void completeColors(GstVideoColorimetry& colors, const GstVideoColorimetry& usual) {
  if (colors.matrix == GST_VIDEO_COLOR_MATRIX_UNKNOWN &&
      colors.transfer == GST_VIDEO_TRANSFER_UNKNOWN &&
      colors.primaries == GST_VIDEO_COLOR_PRIMARIES_UNKNOWN) {
    colors.transfer = usual.transfer;
    colors.primaries = usual.primaries;
  }
  if (colors.matrix == GST_VIDEO_COLOR_MATRIX_UNKNOWN) colors.matrix = usual.matrix;
  if (colors.range == GST_VIDEO_COLOR_RANGE_UNKNOWN) colors.range = usual.range;
}

bool negotiateVideo(GstVideoDecoder* decoder, const AVFrame& frame) {
  VideoDecoderState& state = videoState(decoder);
  const GstVideoFormat format = videoFormatOf(frame.format);
  if (format == GST_VIDEO_FORMAT_UNKNOWN || frame.width <= 0 || frame.height <= 0) return false;
  const bool wasInterlaced =
      std::exchange(state.isInterlaced, state.isInterlaced || fieldsOf(frame).areInterlaced);
  if (state.hasFormat && GST_VIDEO_INFO_FORMAT(&state.format) == format &&
      wasInterlaced == state.isInterlaced && GST_VIDEO_INFO_WIDTH(&state.format) == frame.width &&
      GST_VIDEO_INFO_HEIGHT(&state.format) == frame.height)
    return true;
  GstVideoCodecState* const output =
      gst_video_decoder_set_output_state(decoder, format, static_cast<guint>(frame.width),
                                         static_cast<guint>(frame.height), state.input);
  if (!output) return false;
  GstVideoColorimetry& colors = output->info.colorimetry;
  completeColors(colors, usualColors(format, frame));
  if (frame.color_range == AVCOL_RANGE_JPEG) colors.range = GST_VIDEO_COLOR_RANGE_0_255;
  // The flags of each picture have its fields.
  if (state.isInterlaced) output->info.interlace_mode = GST_VIDEO_INTERLACE_MODE_MIXED;
  state.hasFormat = gst_video_decoder_negotiate(decoder);
  state.format = output->info;
  gst_video_codec_state_unref(output);
  return state.hasFormat;
}

bool copyPicture(const AVFrame& frame, const GstVideoInfo& format, GstBuffer* buffer) {
  GstVideoFrame mapped;
  if (!gst_video_frame_map(&mapped, &format, buffer, GST_MAP_WRITE)) return false;
  std::uint8_t* planes[4]{};
  int strides[4]{};
  for (guint plane = 0; plane < GST_VIDEO_FRAME_N_PLANES(&mapped) && plane < 4; ++plane) {
    planes[plane] = static_cast<std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&mapped, plane));
    strides[plane] = GST_VIDEO_FRAME_PLANE_STRIDE(&mapped, plane);
  }
  const std::uint8_t* from[4]{frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
  // Planes of GBR are in the same order in both libraries.
  av_image_copy(planes, strides, from, frame.linesize, static_cast<AVPixelFormat>(frame.format),
                frame.width, frame.height);
  gst_video_frame_unmap(&mapped);
  const Fields fields = fieldsOf(frame);
  if (fields.areInterlaced) GST_BUFFER_FLAG_SET(buffer, GST_VIDEO_BUFFER_FLAG_INTERLACED);
  if (fields.isTopFirst) GST_BUFFER_FLAG_SET(buffer, GST_VIDEO_BUFFER_FLAG_TFF);
  return true;
}

/// Decoders may swallow packets.
void releaseOldPackets(GstVideoDecoder* decoder, guint32 newest) {
  GList* const pending = gst_video_decoder_get_frames(decoder);
  for (const GList* each = pending; each; each = each->next) {
    auto* const packet = static_cast<GstVideoCodecFrame*>(each->data);
    if (newest - packet->system_frame_number > kMaxPendingPackets)
      gst_video_decoder_release_frame(decoder, gst_video_codec_frame_ref(packet));
  }
  g_list_free_full(pending, [](gpointer packet) {
    gst_video_codec_frame_unref(static_cast<GstVideoCodecFrame*>(packet));
  });
}

GstFlowReturn receivePictures(GstVideoDecoder* decoder) {
  VideoDecoderState& state = videoState(decoder);
  while (const AVFrame* const frame = state.codec->receive()) {
    GstVideoCodecFrame* const packet =
        gst_video_decoder_get_frame(decoder, static_cast<int>(frame->pts));
    if (!packet) continue;
    if (!negotiateVideo(decoder, *frame)) {
      gst_video_decoder_release_frame(decoder, packet);
      return GST_FLOW_NOT_NEGOTIATED;
    }
    GstFlowReturn flow = gst_video_decoder_allocate_output_frame(decoder, packet);
    if (flow != GST_FLOW_OK) {
      gst_video_decoder_release_frame(decoder, packet);
      return flow;
    }
    if (!copyPicture(*frame, state.format, packet->output_buffer)) {
      gst_video_decoder_drop_frame(decoder, packet);
      continue;
    }
    flow = gst_video_decoder_finish_frame(decoder, packet);
    if (flow != GST_FLOW_OK) return flow;
  }
  return GST_FLOW_OK;
}

GstFlowReturn decodeVideo(GstVideoDecoder* decoder, GstVideoCodecFrame* packet) {
  VideoDecoderState& state = videoState(decoder);
  GstMapInfo map;
  if (!state.codec || !gst_buffer_map(packet->input_buffer, &map, GST_MAP_READ)) {
    gst_video_decoder_release_frame(decoder, packet);
    return GST_FLOW_NOT_NEGOTIATED;
  }
  const guint32 number = packet->system_frame_number;
  // The time is up for the picture if the sink reported that it is late. The packet of a picture
  // that is left out is released by releaseOldPackets(): with several threads libavcodec does not
  // report at once which one that is.
  state.codec->setSkipping(gst_video_decoder_get_max_decode_time(decoder, packet) < 0);
  const bool isGood = state.codec->send({map.data, map.size}, number);
  gst_buffer_unmap(packet->input_buffer, &map);
  gst_video_codec_frame_unref(packet);
  GstFlowReturn flow = receivePictures(decoder);
  releaseOldPackets(decoder, number);
  // With several threads, the damaged packet may be an earlier one.
  if (!isGood && flow == GST_FLOW_OK)
    GST_VIDEO_DECODER_ERROR(decoder, 1, STREAM, DECODE, (nullptr), ("damaged packet"), flow);
  return flow;
}

GstFlowReturn drainVideo(GstVideoDecoder* decoder) {
  VideoDecoderState& state = videoState(decoder);
  if (!state.codec) return GST_FLOW_OK;
  state.codec->drain();
  const GstFlowReturn flow = receivePictures(decoder);
  state.codec->flush();
  return flow;
}

gboolean setVideoFormat(GstVideoDecoder* decoder, GstVideoCodecState* input) {
  VideoDecoderState& state = videoState(decoder);
  if (state.input) gst_video_codec_state_unref(state.input);
  state.input = gst_video_codec_state_ref(input);
  state.hasFormat = state.isInterlaced = false;
  state.codec = LibavCodec::open(*input->caps);
  return state.codec != nullptr;
}

gboolean flushVideo(GstVideoDecoder* decoder) {
  if (VideoDecoderState& state = videoState(decoder); state.codec) state.codec->flush();
  return TRUE;
}

gboolean stopVideo(GstVideoDecoder* decoder) {
  VideoDecoderState& state = videoState(decoder);
  if (state.input) gst_video_codec_state_unref(state.input);
  state = {};
  return TRUE;
}

void createVideoState(GTypeInstance* instance, gpointer) {
  auto* const self = static_cast<LibavVideoDecoder*>(static_cast<gpointer>(instance));
  self->state = new VideoDecoderState;
  gst_video_decoder_set_packetized(&self->parent, TRUE);
  gst_video_decoder_set_needs_format(&self->parent, TRUE);
}

/// `inputCaps` is a string.
void initialiseVideoClass(gpointer type, gpointer inputCaps) {
  videoDecoderParent = G_OBJECT_CLASS(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete static_cast<LibavVideoDecoder*>(static_cast<gpointer>(object))->state;
    videoDecoderParent->finalize(object);
  };
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  const GstRef<GstCaps> sink(gst_caps_from_string(static_cast<const char*>(inputCaps)));
  const GstRef<GstCaps> source(gst_caps_new_empty_simple("video/x-raw"));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, sink.get()));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, source.get()));
  gst_element_class_set_static_metadata(element, "Video decoder", "Codec/Decoder/Video",
                                        "Decodes video with libavcodec", "TVVorlane");
  auto* const decoder = static_cast<GstVideoDecoderClass*>(type);
  decoder->set_format = setVideoFormat;
  decoder->handle_frame = decodeVideo;
  decoder->drain = drainVideo;
  decoder->finish = drainVideo;
  decoder->flush = flushVideo;
  decoder->stop = stopVideo;
}

void registerVideoDecoder(const char* typeName, const char* name, const char* inputCaps) {
  const GTypeInfo info{sizeof(LibavVideoDecoderClass),
                       nullptr,
                       nullptr,
                       initialiseVideoClass,
                       nullptr,
                       inputCaps,
                       sizeof(LibavVideoDecoder),
                       0,
                       createVideoState,
                       nullptr};
  const GType type = g_type_register_static(GST_TYPE_VIDEO_DECODER, typeName, &info, {});
  gst_element_register(nullptr, name, GST_RANK_MARGINAL, type);
}

}  // namespace

void registerLibavVideoDecoder() {
  registerVideoDecoder("VorlaneLibavVideoDecoder", "vorlanelibavvideo", kLibavVideoCaps);
  registerVideoDecoder("VorlaneLibavH264Decoder", "vorlanelibavh264", kH264Caps);
}

void registerLibavDecoders() {
  registerLibavAudioDecoder();
  registerLibavVideoDecoder();
}

}  // namespace media
