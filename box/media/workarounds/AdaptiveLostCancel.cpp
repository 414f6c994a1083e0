#include "box/media/workarounds/AdaptiveLostCancel.h"

#include <chrono>
#include <future>
#include <memory>

#include "box/media/GstRef.h"
#include "box/media/workarounds/SoupDownloads.h"

namespace box {
namespace {

constexpr auto kTakeLimit = std::chrono::milliseconds(500);

/// Waits until the context has served everything that was attached to it before.
void awaitTaken(GMainContext* context) {
  // A context that can be acquired has no thread: nothing is taken there any more.
  if (g_main_context_acquire(context)) return g_main_context_release(context);
  using Taken = std::shared_ptr<std::promise<void>>;
  const auto taken = std::make_shared<std::promise<void>>();
  GSource* const source = g_idle_source_new();
  g_source_set_callback(
      source,
      [](gpointer data) -> gboolean {
        (*static_cast<Taken*>(data))->set_value();
        return G_SOURCE_REMOVE;
      },
      new Taken(taken), [](gpointer data) { delete static_cast<Taken*>(data); });
  g_source_attach(source, context);
  g_source_unref(source);
  taken->get_future().wait_for(kTakeLimit);
}

/// All pads of the demuxer get the same flush; only the first one waits.
GstPadProbeReturn onFlushOfDemuxer(GstPad* pad, GstPadProbeInfo* info, gpointer) {
  static const GQuark mark = g_quark_from_static_string("vorlane-flush");
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  const GstRef<GstElement> demuxer(gst_pad_get_parent_element(pad));
  if (GST_EVENT_TYPE(event) != GST_EVENT_FLUSH_START || !demuxer) return GST_PAD_PROBE_OK;
  auto* const object = G_OBJECT(demuxer.get());
  const gpointer number = GUINT_TO_POINTER(gst_event_get_seqnum(event));
  if (g_object_get_qdata(object, mark) == number) return GST_PAD_PROBE_OK;
  g_object_set_qdata(object, mark, number);
  for (const auto& context : soupDownloadContexts()) awaitTaken(context.get());
  return GST_PAD_PROBE_OK;
}

void watchFlushes(GstElement*, GstPad* pad, gpointer) {
  if (GST_PAD_IS_SRC(pad))
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_FLUSH, onFlushOfDemuxer, nullptr, nullptr);
}

void watchAdaptiveDemuxer(GstBin*, GstBin*, GstElement* element, gpointer) {
  if (isOfClass(element, "Adaptive"))
    g_signal_connect(element, "pad-added", G_CALLBACK(watchFlushes), nullptr);
}

}  // namespace

void installAdaptiveLostCancel(GstElement* playbin) {
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(watchAdaptiveDemuxer), nullptr);
}

}  // namespace box
