#include "box/media/SilentDemuxers.h"

#include <string_view>

#include "box/media/GstRef.h"

namespace box {
namespace {

/// Not one of adaptive media, whose own input is over when its work begins.
bool isDemuxer(GstElement* element) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  if (!factory || !gst_element_factory_list_is_type(factory, GST_ELEMENT_FACTORY_TYPE_DEMUXER))
    return false;
  const std::string_view kind =
      gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
  return kind.find("Adaptive") == kind.npos;
}

/// One that reads by itself does so in a task, which stops for good at an end or an error; one that
/// is fed hears of the end.
bool hasEnded(GstPad* sink) {
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
        if (!isDemuxer(element) || element->numsrcpads > 0) return;
        const GstRef<GstPad> sink(gst_element_get_static_pad(element, "sink"));
        if (sink && hasEnded(sink.get())) *static_cast<bool*>(data) = true;
      },
      &found);
  gst_iterator_free(elements);
  return found;
}

}  // namespace box
