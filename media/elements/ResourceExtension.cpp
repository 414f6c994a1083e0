#include "media/elements/ResourceExtension.h"

#include <array>
#include <cstddef>
#include <string_view>

#include <gst/base/gsttypefindhelper.h>

#include "media/support/GstRef.h"
#include "streaming/playback/ReadGate.h"

namespace media {
namespace {

constexpr std::size_t kHeadBytes = 16 * 1024;

struct Extension {
  std::string_view type;
  std::string_view extension;
};
constexpr Extension kExtensions[] = {
    {"video/quicktime", ".mp4"},  {"audio/x-m4a", ".m4a"},      {"application/x-3gp", ".3gp"},
    {"video/x-matroska", ".mkv"}, {"audio/x-matroska", ".mkv"}, {"video/webm", ".webm"},
    {"audio/webm", ".webm"},      {"video/mpegts", ".ts"},      {"video/x-flv", ".flv"},
    {"video/x-msvideo", ".avi"},  {"audio/x-wav", ".wav"},      {"audio/x-aiff", ".aiff"},
    {"audio/x-flac", ".flac"},    {"application/ogg", ".ogg"},  {"audio/ogg", ".ogg"},
    {"video/ogg", ".ogg"},
};

}  // namespace

std::string extensionOfResource(streaming::ResourceReader& reader) {
  if (!reader.isSeekable() || !reader.size()) return {};
  std::array<std::byte, kHeadBytes> head;
  const streaming::ReadGate gate;
  // These bytes are in memory already: they were read to tell the resource from a manifest.
  const std::size_t count = reader.read(0, head, gate).count;
  if (count == 0) return {};
  GstTypeFindProbability probability = GST_TYPE_FIND_NONE;
  const GstRef<GstCaps> caps(gst_type_find_helper_for_data(
      nullptr, reinterpret_cast<const guint8*>(head.data()), count, &probability));
  if (!caps || gst_caps_is_empty(caps.get()) || probability < GST_TYPE_FIND_LIKELY) return {};
  const std::string_view type = gst_structure_get_name(gst_caps_get_structure(caps.get(), 0));
  for (const Extension& each : kExtensions)
    if (each.type == type) return std::string(each.extension);
  return {};
}

}  // namespace media
