#include "media/pipeline/DecodableMedia.h"

#include <map>
#include <mutex>
#include <string>

#include <gst/pbutils/pbutils.h>

#include "media/support/GstRef.h"

namespace media {
namespace {

bool hasDecoderFor(const GstCaps* caps) {
  GList* const decoders =
      gst_element_factory_list_get_elements(GST_ELEMENT_FACTORY_TYPE_DECODER, GST_RANK_MARGINAL);
  bool found = false;
  for (const GList* each = decoders; each && !found; each = each->next)
    found = gst_element_factory_can_sink_any_caps(GST_ELEMENT_FACTORY(each->data), caps);
  gst_plugin_feature_list_free(decoders);
  return found;
}

bool isDecodable(const std::string& codec) {
  const GstRef<GstCaps> caps(gst_codec_utils_caps_from_mime_codec(codec.c_str()));
  // Without the profile: decoders rarely declare which profiles they support.
  if (!caps || gst_caps_is_empty(caps.get()) || gst_caps_is_any(caps.get())) return true;
  const GstRef<GstCaps> bare(
      gst_caps_new_empty_simple(gst_structure_get_name(gst_caps_get_structure(caps.get(), 0))));
  gint version = 0;
  if (gst_structure_get_int(gst_caps_get_structure(caps.get(), 0), "mpegversion", &version))
    gst_caps_set_simple(bare.get(), "mpegversion", G_TYPE_INT, version, nullptr);
  return hasDecoderFor(bare.get());
}

}  // namespace

bool canDecode(streaming::MediaKind kind, const streaming::Representation& representation) {
  if (kind == streaming::MediaKind::Text) return true;
  static std::mutex mutex;
  static std::map<std::string, bool> known;
  for (const std::string& codec : representation.codecs) {
    const std::string name = codec.substr(0, codec.find('.'));
    const std::lock_guard lock(mutex);
    auto entry = known.find(name);
    if (entry == known.end()) {
      // Manifests may have any number of codec strings: limit the cache.
      if (known.size() >= 256) known.clear();
      entry = known.emplace(name, isDecodable(codec)).first;
    }
    if (!entry->second) return false;
  }
  return true;
}

}  // namespace media
