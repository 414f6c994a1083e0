#include "media/pipeline/VideoSink.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <gst/base/gstbasesink.h>
#include <gst/video/video-anc.h>
#include <gst/video/video.h>

#include "media/pipeline/MappedFrame.h"
#include "media/support/GstTime.h"

namespace media {
namespace {

/// Returns the clockwise rotation in degrees. Mirroring is ignored.
int rotationOf(const char* orientation) {
  if (std::strstr(orientation, "rotate-90")) return 90;
  if (std::strstr(orientation, "rotate-180")) return 180;
  if (std::strstr(orientation, "rotate-270")) return 270;
  return 0;
}

}  // namespace

VideoSink::VideoSink(std::shared_ptr<VideoFrames> frames, std::uint64_t ticket,
                     PositionClock& position, std::shared_ptr<SubtitleCues> subtitles,
                     std::shared_ptr<RenderedTexts> rendered,
                     std::function<void(PictureCaptions::Channel)> captionsFound)
    : _frames(std::move(frames)),
      _ticket(ticket),
      _position(position),
      _subtitles(std::move(subtitles)),
      _rendered(std::move(rendered)),
      _captions(_subtitles, std::move(captionsFound),
                [this] { _frames->textsDidChange(_ticket); }) {
  gst_segment_init(&_segment, GST_FORMAT_UNDEFINED);
  GstElement* sink = gst_element_factory_make("appsink", "video-sink");
  if (!sink) return;
  _element.reset(GST_ELEMENT(gst_object_ref_sink(sink)));
  const GstRef<GstCaps> caps(gst_caps_new_empty_simple("video/x-raw"));
  g_object_set(sink, "caps", caps.get(), "max-buffers", 2u, "drop", TRUE, "sync", TRUE, "qos", TRUE,
               "wait-on-eos", FALSE, "emit-signals", FALSE, nullptr);
  GstAppSinkCallbacks callbacks{};
  callbacks.eos = _onEnd;
  callbacks.new_preroll = _onPreroll;
  callbacks.new_sample = _onSample;
  gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, this, nullptr);
  const GstRef<GstPad> pad(gst_element_get_static_pad(sink, "sink"));
  gst_pad_add_probe(pad.get(),
                    static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                                 GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                    _onEvent, this, nullptr);
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, _onQuery, this, nullptr);
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, _onPicture, this, nullptr);
}

GstPadProbeReturn VideoSink::_onPicture(GstPad*, GstPadProbeInfo* info, gpointer self) {
  auto& me = *static_cast<VideoSink*>(self);
  me._requestTexts(GST_PAD_PROBE_INFO_BUFFER(info));
  me._takeCaptions(GST_PAD_PROBE_INFO_BUFFER(info));
  return GST_PAD_PROBE_OK;
}

std::optional<double> VideoSink::_streamTimeOf(GstBuffer* picture) const {
  guint64 time = 0;
  if (_segment.format != GST_FORMAT_TIME || !GST_BUFFER_PTS_IS_VALID(picture) ||
      gst_segment_to_stream_time_full(&_segment, GST_FORMAT_TIME, GST_BUFFER_PTS(picture), &time) !=
          1)
    return std::nullopt;
  return secondsOf(time);
}

/// Called a little before the picture is due.
void VideoSink::_requestTexts(GstBuffer* picture) {
  if (!_rendered || _hidden) return;
  if (const auto time = _streamTimeOf(picture)) _rendered->renderAt(*time);
}

void VideoSink::_describePicture() {
  if (!_rendered || _format.width <= 0 || _format.height <= 0) return;
  SubtitledPicture picture{.width = _format.width, .height = _format.height};
  picture.aspect = static_cast<double>(_format.width) * _format.par_n /
                   (static_cast<double>(_format.height) * std::max(1, _format.par_d));
  if (_rotation % 180 != 0) {
    std::swap(picture.width, picture.height);
    picture.aspect = 1 / picture.aspect;
  }
  _rendered->setPicture(picture);
}

void VideoSink::_takeCaptions(GstBuffer* picture) {
  const auto time = _streamTimeOf(picture);
  if (_segment.rate < 0 || !time) return;
  gpointer state = nullptr;
  while (const GstMeta* meta =
             gst_buffer_iterate_meta_filtered(picture, &state, GST_VIDEO_CAPTION_META_API_TYPE)) {
    const auto* const captions = reinterpret_cast<const GstVideoCaptionMeta*>(meta);
    // cc_data triples: a header byte and a byte pair.
    if (captions->caption_type != GST_VIDEO_CAPTION_TYPE_CEA708_RAW) continue;
    for (gsize at = 0; at + 3 <= captions->size; at += 3) {
      const guint8* const pair = captions->data + at;
      const bool isValid = (pair[0] & 0x04) != 0;
      if (isValid) _captions.feed(*time, pair[0] & 0x03, pair[1], pair[2]);
    }
  }
}

GstFlowReturn VideoSink::_onPreroll(GstAppSink* sink, gpointer self) {
  auto& me = *static_cast<VideoSink*>(self);
  if (!std::exchange(me._showPreroll, false)) return GST_FLOW_OK;
  GstRef<GstSample> sample(gst_app_sink_try_pull_preroll(sink, 0));
  if (sample) me._show(std::move(sample), false);
  // The picture is on the screen already, so playback begins when the clock runs.
  me._becomeDue();
  return GST_FLOW_OK;
}

GstFlowReturn VideoSink::_onSample(GstAppSink* sink, gpointer self) {
  auto& me = *static_cast<VideoSink*>(self);
  me._showPreroll = false;
  GstRef<GstSample> sample(gst_app_sink_try_pull_sample(sink, 0));
  if (sample) me._show(std::move(sample), true);
  me._becomeDue();
  return GST_FLOW_OK;
}

void VideoSink::_onEnd(GstAppSink*, gpointer self) { static_cast<VideoSink*>(self)->_becomeDue(); }

GstPadProbeReturn VideoSink::_onEvent(GstPad*, GstPadProbeInfo* info, gpointer self) {
  auto& me = *static_cast<VideoSink*>(self);
  GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) {
    me._due = false;
    me._showPreroll = true;
    // Captions are sent again after a seek.
    me._captions.restart();
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
    gst_event_copy_segment(event, &me._segment);
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    if (gst_video_info_from_caps(&me._format, caps)) me._describePicture();
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_TAG) {
    GstTagList* tags = nullptr;
    gst_event_parse_tag(event, &tags);
    gchar* orientation = nullptr;
    if (gst_tag_list_get_string(tags, GST_TAG_IMAGE_ORIENTATION, &orientation)) {
      me._rotation = rotationOf(orientation);
      g_free(orientation);
      me._describePicture();
    }
  }
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn VideoSink::_onQuery(GstPad*, GstPadProbeInfo* info, gpointer) {
  GstQuery* query = GST_PAD_PROBE_INFO_QUERY(info);
  if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
  // With GstVideoMeta the decoder may use its own strides: it writes directly into the picture.
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
  GstCaps* caps = nullptr;
  gst_query_parse_allocation(query, &caps, nullptr);
  GstVideoInfo format;
  // Pictures in other formats are converted, and only the result is drawn.
  if (caps && gst_video_info_from_caps(&format, caps) &&
      FrameConverter::isDrawable(GST_VIDEO_INFO_FORMAT(&format))) {
    gst_query_add_allocation_param(query, pictureAllocator(), nullptr);
  }
  return GST_PAD_PROBE_HANDLED;
}

void VideoSink::_show(GstRef<GstSample> sample, bool isDue) {
  if (_hidden) return;
  sample = _converter.drawable(std::move(sample));
  if (!sample) return;
  auto frame = MappedFrame::make(sample.get(), _rotation, _subtitles);
  if (!frame) return;
  if (isDue && frame->time >= 0)
    _position.observe(frame->time + _lateness(frame->due) * _segment.rate);
  _frames->put(_ticket, std::move(frame));
}

double VideoSink::_lateness(double due) const {
  const GstRef<GstClock> clock(gst_element_get_clock(_element.get()));
  if (!clock || due < 0) return 0;
  const GstClockTime latency = gst_base_sink_get_latency(GST_BASE_SINK(_element.get()));
  const GstClockTime start = gst_element_get_base_time(_element.get()) + latency;
  const auto runningTime = GST_CLOCK_DIFF(start, gst_clock_get_time(clock.get()));
  return std::max(0.0, static_cast<double>(runningTime) / static_cast<double>(GST_SECOND) - due);
}

void VideoSink::_becomeDue() {
  if (_due.exchange(true)) return;
  gst_element_post_message(
      _element.get(),
      gst_message_new_application(GST_OBJECT(_element.get()), gst_structure_new_empty(kBecameDue)));
}

}  // namespace media
