#include "media/elements/libav/LibavTypes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include <gst/gst.h>

#include "media/elements/libav/LibavDemuxer.h"
#include "media/support/GstRef.h"

namespace media {
namespace {

/// The GUID at the start of recorded television of Windows.
constexpr std::array<guint8, 16> kWtvStart{0xb7, 0xd8, 0x00, 0x20, 0x37, 0x49, 0xda, 0x11,
                                           0xa6, 0x4e, 0x00, 0x07, 0xe9, 0x5e, 0xad, 0x8d};

void detectWtv(GstTypeFind* find, gpointer) {
  const guint8* const start = gst_type_find_peek(find, 0, kWtvStart.size());
  if (!start || !std::equal(kWtvStart.begin(), kWtvStart.end(), start)) return;
  const GstRef<GstCaps> caps(gst_caps_new_empty_simple(kLibavInputCaps));
  gst_type_find_suggest(find, GST_TYPE_FIND_MAXIMUM, caps.get());
}

/// An AVI that is longer than the file has lost its index. avidemux plays only a part of it. AVIs
/// that were written into a pipe state neither a size nor a number of frames; avidemux plays them.
void detectCutAvi(GstTypeFind* find, gpointer) {
  constexpr std::string_view kRiff = "RIFF";
  constexpr std::string_view kAvi = "AVI ";
  constexpr guint kFramesAt = 48;
  constexpr guint32 kUnknown = 0xffffffff;
  constexpr gint64 kBeyondProbes = gint64{64} << 10;
  const guint8* const start = gst_type_find_peek(find, 0, kFramesAt + 4);
  if (!start || !std::equal(kRiff.begin(), kRiff.end(), start) ||
      !std::equal(kAvi.begin(), kAvi.end(), start + 8))
    return;
  const guint32 size = GST_READ_UINT32_LE(start + 4);
  const guint32 frames = GST_READ_UINT32_LE(start + kFramesAt);
  const bool isStated = size != 0 && size != kUnknown && frames != 0 && frames != kUnknown;
  // The length may be that of the bytes that were read.
  if (!isStated || std::uint64_t{size} + 8 <= gst_type_find_get_length(find) ||
      !gst_type_find_peek(find, kBeyondProbes, 1))
    return;
  const GstRef<GstCaps> caps(gst_caps_new_empty_simple(kLibavInputCaps));
  gst_type_find_suggest(find, GST_TYPE_FIND_MAXIMUM, caps.get());
}

}  // namespace

const char* libavInputTypes() {
  return "application/x-vorlane-libav; audio/x-wav; application/vnd.rn-realmedia;"
         " application/x-pn-realaudio; application/x-yuv4mpeg; video/x-ivf";
}

void registerLibavTypes() {
  const GstRef<GstCaps> caps(gst_caps_new_empty_simple(kLibavInputCaps));
  gst_type_find_register(nullptr, "vorlane-wtv", GST_RANK_PRIMARY, detectWtv, "wtv", caps.get(),
                         nullptr, nullptr);
  gst_type_find_register(nullptr, "vorlane-cut-avi", GST_RANK_PRIMARY + 1, detectCutAvi, "avi",
                         caps.get(), nullptr, nullptr);
}

}  // namespace media
