#include "media/pipeline/DecodableMedia.h"

#include <map>
#include <mutex>
#include <string>

#include <gst/pbutils/pbutils.h>

#include "media/support/DecoderLookup.h"
#include "media/support/GstRef.h"

namespace media {
namespace {

bool isDecodable(const std::string& codec) {
  const GstRef<GstCaps> caps(gst_codec_utils_caps_from_mime_codec(codec.c_str()));
  if (!caps || gst_caps_is_empty(caps.get()) || gst_caps_is_any(caps.get())) return true;
  return hasDecoder(caps.get());
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
