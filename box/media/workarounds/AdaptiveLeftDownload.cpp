#include "box/media/workarounds/AdaptiveLeftDownload.h"

#include "box/media/GstRef.h"
#include "box/media/workarounds/SoupDownloads.h"

namespace box {
namespace {

/// A demuxer tries a download that failed three more times, 10 ms after each other.
constexpr GstClockTime kRetryTime = 25 * GST_MSECOND;
constexpr int kMostRetryTimes = 10;

}  // namespace

void endDownloads(const PlaybinStop& stop) {
  SoupDownloads before = soupDownloadsOf(stop.url);
  stop.endRequests();
  for (int count = 0; count < kMostRetryTimes; ++count) {
    const GstRef<GstMessage> error(
        gst_bus_timed_pop_filtered(stop.bus, kRetryTime, GST_MESSAGE_ERROR));
    const SoupDownloads now = soupDownloadsOf(stop.url);
    if (error || (now.begun == now.ended && now == before)) return;
    before = now;
  }
}

}  // namespace box
