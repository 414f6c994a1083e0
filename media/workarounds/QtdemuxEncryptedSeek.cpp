#include "media/workarounds/QtdemuxEncryptedSeek.h"

#include "media/support/GstRef.h"

namespace media {

bool losesDecryptionBySeeks(GstElement* pipeline) {
  struct Found {
    bool decryptor = false;
    bool puller = false;
  } found;
  GstIterator* const elements = gst_bin_iterate_recurse(GST_BIN(pipeline));
  gst_iterator_foreach(
      elements,
      [](const GValue* value, gpointer data) {
        auto* const element = GST_ELEMENT(g_value_get_object(value));
        auto& all = *static_cast<Found*>(data);
        GstElementFactory* const factory = gst_element_get_factory(element);
        if (!factory) return;
        if (gst_element_factory_list_is_type(factory, GST_ELEMENT_FACTORY_TYPE_DECRYPTOR))
          all.decryptor = true;
        if (!isFromFactory(element, "qtdemux")) return;
        const GstRef<GstPad> pad(gst_element_get_static_pad(element, "sink"));
        if (pad && GST_PAD_MODE(pad.get()) == GST_PAD_MODE_PULL) all.puller = true;
      },
      &found);
  gst_iterator_free(elements);
  return found.decryptor && found.puller;
}

}  // namespace media
