#include "box/media/TextLoader.h"

#include <utility>

#include "box/media/TextForms.h"
#include "box/media/TextSink.h"
#include "platform/foundation/TVSLogger.h"

namespace box {

TextLoader::TextLoader(const std::string& url, Done done) : _url(url), _done(std::move(done)) {
  GstAppSinkCallbacks callbacks{};
  callbacks.eos = _onBytesEnd;
  callbacks.new_sample = _onBytes;
  GstElement* source = gst_element_make_from_uri(GST_URI_SRC, url.c_str(), nullptr, nullptr);
  if (!_start(source, callbacks)) _finish();
}

TextLoader::~TextLoader() {
  // The first one is idle before the second is looked at.
  for (const auto& pipeline : _pipelines) {
    if (!pipeline) continue;
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    const GstRef<GstBus> bus(gst_element_get_bus(pipeline.get()));
    gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
  }
}

bool TextLoader::_start(GstElement* source, const GstAppSinkCallbacks& callbacks) {
  auto& pipeline = _pipelines[_pipelineCount++];
  pipeline.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
  _sink = gst_element_factory_make("appsink", nullptr);
  for (GstElement* each : {source, _sink})
    if (each) gst_bin_add(GST_BIN(pipeline.get()), each);
  if (!source || !_sink) return false;
  g_object_set(_sink, "sync", FALSE, "async", FALSE, "wait-on-eos", FALSE, "emit-signals", FALSE,
               nullptr);
  GstAppSinkCallbacks handlers = callbacks;
  gst_app_sink_set_callbacks(GST_APP_SINK(_sink), &handlers, this, nullptr);
  const GstRef<GstBus> bus(gst_element_get_bus(pipeline.get()));
  gst_bus_set_sync_handler(bus.get(), _onMessage, this, nullptr);
  const GstRef<GstPad> out(gst_element_get_static_pad(source, "src"));
  if (out && !gst_element_link(source, _sink)) return false;
  return gst_element_set_state(pipeline.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
}

GstFlowReturn TextLoader::_onBytes(GstAppSink* sink, gpointer self) {
  constexpr std::size_t kByteLimit = std::size_t{16} << 20;
  auto& me = *static_cast<TextLoader*>(self);
  const GstRef<GstSample> sample(gst_app_sink_try_pull_sample(sink, 0));
  GstBuffer* buffer = sample ? gst_sample_get_buffer(sample.get()) : nullptr;
  GstMapInfo bytes;
  if (!buffer || !gst_buffer_map(buffer, &bytes, GST_MAP_READ)) return GST_FLOW_OK;
  const bool fits = me._bytes.size() + bytes.size <= kByteLimit;
  if (fits) me._bytes.append(reinterpret_cast<const char*>(bytes.data), bytes.size);
  gst_buffer_unmap(buffer, &bytes);
  if (fits) return GST_FLOW_OK;
  me._bytes.clear();
  me._finish();
  return GST_FLOW_EOS;
}

void TextLoader::_onBytesEnd(GstAppSink*, gpointer self) {
  auto& me = *static_cast<TextLoader*>(self);
  {
    const std::lock_guard lock(me._mutex);
    if (me._finished) return;
  }
  const std::string bytes = std::exchange(me._bytes, {});
  auto cues = cuesOfText(bytes);
  if (!cues) {
    me._decode();
    return;
  }
  {
    const std::lock_guard lock(me._mutex);
    me._cues = std::move(*cues);
  }
  me._finish();
}

void TextLoader::_decode() {
  GstElement* source = gst_element_factory_make("uridecodebin", nullptr);
  if (source) {
    const GstRef<GstCaps> caps(gst_caps_from_string("text/x-raw(ANY)"));
    g_object_set(source, "uri", _url.c_str(), "caps", caps.get(), "expose-all-streams", FALSE,
                 nullptr);
    g_signal_connect(source, "pad-added", G_CALLBACK(_onPad), this);
  }
  GstAppSinkCallbacks callbacks{};
  callbacks.eos = _onEnd;
  callbacks.new_sample = _onSample;
  if (!_start(source, callbacks)) _finish();
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
