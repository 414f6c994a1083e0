#include "media/pipeline/AudioOutput.h"

#include <utility>

namespace media {
namespace {

GstRef<GstElement> makeSilentSink() {
  GstElement* made = gst_element_factory_make("fakesink", nullptr);
  if (!made) return {};
  GstRef<GstElement> sink(GST_ELEMENT(gst_object_ref_sink(made)));
  g_object_set(made, "sync", TRUE, nullptr);
  return sink;
}

}  // namespace

AudioOutput::AudioOutput() {
  GstElement* volume = gst_element_factory_make("volume", nullptr);
  if (!volume) return;
  _bin.reset(GST_ELEMENT(gst_object_ref_sink(gst_bin_new("sound"))));
  _volume = volume;
  gst_bin_add(GST_BIN(_bin.get()), volume);
  const GstRef<GstPad> pad(gst_element_get_static_pad(volume, "sink"));
  gst_element_add_pad(_bin.get(), gst_ghost_pad_new("sink", pad.get()));
  const GstRef<GstPad> end(gst_element_get_static_pad(volume, "src"));
  gst_pad_add_probe(end.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, _onEvent, this, nullptr);
  use({});
  // A sink with an open device keeps its state when it is added.
  gst_element_set_state(_bin.get(), GST_STATE_READY);
}

/// The sink creates its stream at the sound server when it gets caps: set the properties before.
GstPadProbeReturn AudioOutput::_onEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self) {
  if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) != GST_EVENT_CAPS) return GST_PAD_PROBE_OK;
  const GstRef<GstPad> peer(gst_pad_get_peer(pad));
  if (!peer) return GST_PAD_PROBE_OK;
  const GstRef<GstElement> sink(gst_pad_get_parent_element(peer.get()));
  if (!sink || !g_object_class_find_property(G_OBJECT_GET_CLASS(sink.get()), "stream-properties"))
    return GST_PAD_PROBE_OK;
  const char* const role = static_cast<AudioOutput*>(self)->_hasPicture ? "video" : "music";
  GstStructure* const properties = gst_structure_new(
      "properties", "media.role", G_TYPE_STRING, role, "application.name", G_TYPE_STRING,
      "TVVorlane", "application.id", G_TYPE_STRING, "quorin.tvvorlane", "application.icon_name",
      G_TYPE_STRING, "quorin.tvvorlane", nullptr);
  g_object_set(sink.get(), "stream-properties", properties, nullptr);
  gst_structure_free(properties);
  return GST_PAD_PROBE_OK;
}

bool AudioOutput::contains(GstObject* object) const {
  return _bin && object &&
         (object == GST_OBJECT(_bin.get()) ||
          gst_object_has_as_ancestor(object, GST_OBJECT(_bin.get())));
}

void AudioOutput::abandon() {
  if (_sink) gst_element_set_locked_state(_sink, TRUE);
}

void AudioOutput::use(GstRef<GstElement> sink) {
  _silent = !sink;
  if (_silent) sink = makeSilentSink();
  if (!_bin || !sink) return;
  if (_sink) {
    GstElement* old = std::exchange(_sink, nullptr);
    gst_element_set_locked_state(old, TRUE);
    gst_element_set_state(old, GST_STATE_NULL);
    gst_element_unlink(_volume, old);
    gst_bin_remove(GST_BIN(_bin.get()), old);
  }
  _sink = sink.get();
  gst_bin_add(GST_BIN(_bin.get()), sink.get());
  gst_element_link(_volume, _sink);
  gst_element_sync_state_with_parent(_sink);
}

void AudioOutput::setVolume(double volume, bool muted) {
  if (_volume)
    g_object_set(_volume, "volume", volume, "mute", static_cast<gboolean>(muted), nullptr);
}

}  // namespace media
