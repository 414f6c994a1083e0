#include "media/workarounds/DemuxerLostError.h"

#include "media/support/GstRef.h"

namespace media {
namespace {

/// Adaptive demuxers are left out: their input, a playlist, ends before their work begins.
bool isPlainDemuxer(GstElement* element) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  return factory && gst_element_factory_list_is_type(factory, GST_ELEMENT_FACTORY_TYPE_DEMUXER) &&
         !hasClass(element, "Adaptive");
}

/// In pull mode a demuxer reads in a task, which stops at the end or after an error. In push mode
/// it receives EOS.
bool hasInputEnded(GstPad* sink) {
  if (GST_PAD_MODE(sink) == GST_PAD_MODE_PUSH) return GST_PAD_IS_EOS(sink);
  if (GST_PAD_MODE(sink) != GST_PAD_MODE_PULL) return false;
  GST_OBJECT_LOCK(sink);
  GstTask* const task = GST_PAD_TASK(sink);
  const bool stopped = task && GST_TASK_STATE(task) != GST_TASK_STARTED;
  GST_OBJECT_UNLOCK(sink);
  return stopped;
}

}  // namespace

bool hasDemuxerWithoutResult(GstElement* pipeline) {
  bool found = false;
  GstIterator* const elements = gst_bin_iterate_recurse(GST_BIN(pipeline));
  gst_iterator_foreach(
      elements,
      [](const GValue* value, gpointer data) {
        auto* const element = GST_ELEMENT(g_value_get_object(value));
        if (!isPlainDemuxer(element) || element->numsrcpads > 0) return;
        const GstRef<GstPad> sink(gst_element_get_static_pad(element, "sink"));
        if (sink && hasInputEnded(sink.get())) *static_cast<bool*>(data) = true;
      },
      &found);
  gst_iterator_free(elements);
  return found;
}

}  // namespace media
