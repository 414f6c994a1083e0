#include "media/support/DecoderLookup.h"

#include <cstdlib>
#include <string_view>

#include "media/support/GstRef.h"

namespace media {
namespace {

constexpr guint kHardwareRank = GST_RANK_PRIMARY + 64;

/// Returns whether a list such as "vah264dec:NONE,v4l2h264dec:300" has an entry for `name`.
bool hasRankInEnvironment(std::string_view list, std::string_view name) {
  for (std::size_t at = list.find(name); at != list.npos; at = list.find(name, at + 1)) {
    const bool isStart = at == 0 || list[at - 1] == ',' || list[at - 1] == ' ';
    const std::size_t end = at + name.size();
    if (isStart && end < list.size() && list[end] == ':') return true;
  }
  return false;
}

}  // namespace

bool hasDecoder(const GstCaps* caps) {
  const GstStructure* const first = gst_caps_get_structure(caps, 0);
  const GstRef<GstCaps> bare(gst_caps_new_empty_simple(gst_structure_get_name(first)));
  gint version = 0;
  if (gst_structure_get_int(first, "mpegversion", &version))
    gst_caps_set_simple(bare.get(), "mpegversion", G_TYPE_INT, version, nullptr);
  GList* const decoders =
      gst_element_factory_list_get_elements(GST_ELEMENT_FACTORY_TYPE_DECODER, GST_RANK_MARGINAL);
  bool found = false;
  for (const GList* each = decoders; each && !found; each = each->next)
    found = gst_element_factory_can_sink_any_caps(GST_ELEMENT_FACTORY(each->data), bare.get());
  gst_plugin_feature_list_free(decoders);
  return found;
}

void disableFileDecoders() {
  GstPluginFeature* const decoder = gst_registry_lookup_feature(gst_registry_get(), "sfdec");
  if (!decoder) return;
  gst_plugin_feature_set_rank(decoder, GST_RANK_NONE);
  gst_object_unref(decoder);
}

void preferHardwareDecoders() {
  const char* const variable = std::getenv("GST_PLUGIN_FEATURE_RANK");
  const std::string_view ranks(variable ? variable : "");
  GList* const decoders = gst_element_factory_list_get_elements(
      GST_ELEMENT_FACTORY_TYPE_DECODER | GST_ELEMENT_FACTORY_TYPE_MEDIA_VIDEO, GST_RANK_NONE);
  for (const GList* each = decoders; each; each = each->next) {
    auto* const decoder = GST_PLUGIN_FEATURE(each->data);
    const std::string_view kind(gst_element_factory_get_metadata(GST_ELEMENT_FACTORY(each->data),
                                                                 GST_ELEMENT_METADATA_KLASS));
    if (kind.find("Hardware") == kind.npos) continue;
    if (gst_plugin_feature_get_rank(decoder) < kHardwareRank &&
        !hasRankInEnvironment(ranks, gst_plugin_feature_get_name(decoder)))
      gst_plugin_feature_set_rank(decoder, kHardwareRank);
  }
  gst_plugin_feature_list_free(decoders);
}

}  // namespace media
