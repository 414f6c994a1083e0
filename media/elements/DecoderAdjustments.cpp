#include "media/elements/DecoderAdjustments.h"

#include "media/elements/StreamEnds.h"
#include "media/support/GstRef.h"

namespace media {
namespace {

/// Number of damaged packets before the first good one after which a decoder fails.
constexpr gint kMaxErrorsAtStart = 20;

/// Lets an audio decoder fail that cannot decode anything. By default it would try until the end.
/// After the first output, damaged packets are ignored again.
void limitErrors(GstBin*, GstBin*, GstElement* decoder, gpointer) {
  if (!hasClass(decoder, "Decoder") || !hasClass(decoder, "Audio") ||
      !g_object_class_find_property(G_OBJECT_GET_CLASS(decoder), "max-errors"))
    return;
  const GstRef<GstPad> source(gst_element_get_static_pad(decoder, "src"));
  if (!source) return;
  g_object_set(decoder, "max-errors", kMaxErrorsAtStart, nullptr);
  gst_pad_add_probe(
      source.get(), GST_PAD_PROBE_TYPE_BUFFER,
      [](GstPad* pad, GstPadProbeInfo*, gpointer) {
        const GstRef<GstElement> owner(gst_pad_get_parent_element(pad));
        if (owner) g_object_set(owner.get(), "max-errors", -1, nullptr);
        return GST_PAD_PROBE_REMOVE;
      },
      nullptr, nullptr);
}

void endDecodedStream(GstBin*, GstBin*, GstElement* element, gpointer) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  if (!factory || !gst_element_factory_list_is_type(factory, GST_ELEMENT_FACTORY_TYPE_DECODER))
    return;
  const GstRef<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  if (pad) endStreamAtMark(pad.get());
}

}  // namespace

void adjustDecoders(GstElement* pipeline) {
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(limitErrors), nullptr);
  g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(endDecodedStream), nullptr);
}

}  // namespace media
