#include "box/media/TextLoader.h"

#include <utility>

#include "box/media/TextSink.h"
#include "platform/foundation/TVSLogger.h"

namespace box {

TextLoader::TextLoader(const std::string& url, Done done) : _done(std::move(done)) {
  GstElement* source = gst_element_factory_make("uridecodebin", nullptr);
  _sink = gst_element_factory_make("appsink", nullptr);
  _pipeline.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
  for (GstElement* each : {source, _sink})
    if (each) gst_bin_add(GST_BIN(_pipeline.get()), each);
  if (!source || !_sink) {
    _finish();
    return;
  }
  // Whatever a format says of places and styles is left out.
  const GstRef<GstCaps> caps(gst_caps_from_string("text/x-raw(ANY)"));
  g_object_set(source, "uri", url.c_str(), "caps", caps.get(), "expose-all-streams", FALSE,
               nullptr);
  g_signal_connect(source, "pad-added", G_CALLBACK(_onPad), this);
  g_object_set(_sink, "sync", FALSE, "async", FALSE, "wait-on-eos", FALSE, "emit-signals", FALSE,
               nullptr);
  GstAppSinkCallbacks callbacks{};
  callbacks.eos = _onEnd;
  callbacks.new_sample = _onSample;
  gst_app_sink_set_callbacks(GST_APP_SINK(_sink), &callbacks, this, nullptr);
  const GstRef<GstBus> bus(gst_element_get_bus(_pipeline.get()));
  gst_bus_set_sync_handler(bus.get(), _onMessage, this, nullptr);
  if (gst_element_set_state(_pipeline.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE)
    _finish();
}

TextLoader::~TextLoader() {
  gst_element_set_state(_pipeline.get(), GST_STATE_NULL);
  const GstRef<GstBus> bus(gst_element_get_bus(_pipeline.get()));
  gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
}

void TextLoader::_onPad(GstElement*, GstPad* pad, gpointer self) {
  const GstRef<GstPad> sink(
      gst_element_get_static_pad(static_cast<TextLoader*>(self)->_sink, "sink"));
  if (!gst_pad_is_linked(sink.get())) gst_pad_link(pad, sink.get());
}

GstFlowReturn TextLoader::_onSample(GstAppSink* sink, gpointer self) {
  auto& me = *static_cast<TextLoader*>(self);
  const GstRef<GstSample> sample(gst_app_sink_try_pull_sample(sink, 0));
  GstBuffer* buffer = sample ? gst_sample_get_buffer(sample.get()) : nullptr;
  const GstSegment* segment = sample ? gst_sample_get_segment(sample.get()) : nullptr;
  if (!buffer || !segment) return GST_FLOW_OK;
  SubtitleCue cue = cueOf(buffer, *segment, gst_sample_get_caps(sample.get()));
  const std::lock_guard lock(me._mutex);
  if (me._cues.size() >= SubtitleCues::kCueLimit) return GST_FLOW_EOS;
  if (!cue.text.empty()) me._cues.push_back(std::move(cue));
  return GST_FLOW_OK;
}

void TextLoader::_onEnd(GstAppSink*, gpointer self) { static_cast<TextLoader*>(self)->_finish(); }

GstBusSyncReply TextLoader::_onMessage(GstBus*, GstMessage* message, gpointer self) {
  // Nobody reads this bus.
  if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
    GError* failure = nullptr;
    gst_message_parse_error(message, &failure, nullptr);
    const GstRef<GError> error(failure);
    TVSLogWarning(TVSSystemLog, "A text cannot be loaded: %@", error ? error->message : "unknown");
    static_cast<TextLoader*>(self)->_finish();
  }
  gst_message_unref(message);
  return GST_BUS_DROP;
}

void TextLoader::_finish() {
  std::vector<SubtitleCue> cues;
  {
    const std::lock_guard lock(_mutex);
    if (std::exchange(_finished, true)) return;
    cues = std::move(_cues);
  }
  _done(std::move(cues));
}

}  // namespace box
