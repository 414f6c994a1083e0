#include "media/engine/WarmUp.h"

#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>

#include <dlfcn.h>
#include <gst/gst.h>

#include "media/elements/libav/LibavDemuxer.h"
#include "media/encryption/ClearKeyDecryptor.h"
#include "media/pipeline/AudioDevice.h"
#include "media/support/DecoderLookup.h"
#include "media/support/GstRef.h"
#include "media/texts/TextStream.h"
#include "media/texts/ass/AssStream.h"
#include "media/workarounds/Workarounds.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

// The elements for an MP4 over HTTP. If one is missing, the item that needs it fails later.
constexpr const char* kCommonElements[] = {
    "parsebin",  "decodebin3",  "typefind",     "multiqueue",    "identity",   "qtdemux",
    "h264parse", "aacparse",    "avdec_h264",   "avdec_aac",     "queue",      "appsink",
    "volume",    "deinterlace", "audioconvert", "audioresample", "scaletempo",
};

void load(const char* name) {
  if (GstElement* element = gst_element_factory_make(name, nullptr)) {
    gst_object_ref_sink(element);
    gst_object_unref(element);
  }
}

/// gst-libav is linked to libavfilter for an element that is not used here. If a library with the
/// same soname is already loaded, the dynamic linker uses that, and libavfilter and its 20
/// dependencies are not loaded. cmake/VorlaneNoFilters.cmake builds the library. Without it
/// libavfilter is loaded.
bool keepFiltersOut() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto library = program.parent_path() / "vorlane-no-filters.so";
  return dlopen(library.c_str(), RTLD_LAZY | RTLD_LOCAL) != nullptr;
}

/// Removes elements of gst-libav whose names begin with `prefix`. Loading the plugin adds them
/// again, so call it afterwards.
void removeLibavElements(std::string_view prefix) {
  GstRegistry* const registry = gst_registry_get();
  GList* const features = gst_registry_get_feature_list_by_plugin(registry, "libav");
  for (GList* each = features; each; each = each->next) {
    GstPluginFeature* const feature = GST_PLUGIN_FEATURE_CAST(each->data);
    if (std::string_view(GST_OBJECT_NAME(feature)).starts_with(prefix))
      gst_registry_remove_feature(registry, feature);
  }
  gst_plugin_feature_list_free(features);
}

void bringUp() {
  const bool hasFilters = !keepFiltersOut();
  // A scanner process would inherit file descriptors, and nothing would wait for it.
  gst_registry_fork_set_enabled(FALSE);
  GError* failure = nullptr;
  if (!gst_init_check(nullptr, nullptr, &failure)) {
    const GstRef<GError> error(failure);
    TVSLogError(TVSSystemLog, "Media library does not start: %@",
                error ? error->message : "no reason given");
    return;
  }
  registerClearKeyDecryptor();
  registerTextStream();
  registerAssStream();
  registerLibavDemuxer();
  disableFileDecoders();
  preferHardwareDecoders();
  Workarounds::shared().installForProcess();
  for (const char* name : kCommonElements) load(name);
  // This element would call libavfilter.
  if (!hasFilters) removeLibavElements("avdeinterlace");
  // These demuxers leak if they cannot open their input. LibavDemuxer reads the same formats.
  removeLibavElements("avdemux_");
  if (GstPlugin* types = gst_plugin_load_by_name("typefindfunctions")) gst_object_unref(types);
  if (const auto sink = AudioDevice().open()) gst_element_set_state(sink.get(), GST_STATE_NULL);
}

}  // namespace

void logMediaLibrary() { TVSLogNotice(TVSSystemLog, "%@", Workarounds::shared().summary()); }

void warmUpMedia() {
  static std::once_flag once;
  std::call_once(once, bringUp);
}

}  // namespace media
