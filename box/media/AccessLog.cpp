#include "box/media/AccessLog.h"

#include "platform/media/MediaLogKeys.h"

namespace box {
namespace {

std::string_view playbackTypeOf(const RelayItem* relayed, const platform::MediaFacts& facts) {
  if (facts.live) return platform::kAccessLogPlaybackTypeLive;
  return relayed && relayed->timeline() ? platform::kAccessLogPlaybackTypeStream
                                        : platform::kAccessLogPlaybackTypeFile;
}

void addTransfers(const RelayItem& relayed, platform::Dictionary& entry) {
  const RelayStatistics transfers = relayed.statistics();
  if (!transfers.serverAddress.empty())
    entry.set(platform::kAccessLogServerAddress, transfers.serverAddress);
  entry.set(platform::kAccessLogRequestCount, transfers.requestCount);
  entry.set(platform::kAccessLogBytesTransferred, transfers.bytesTransferred);
  entry.set(platform::kAccessLogTransferDuration, transfers.transferSeconds);
  if (transfers.observedBitrate)
    entry.set(platform::kAccessLogObservedBitrate, *transfers.observedBitrate);
  if (transfers.observedBitrateDeviation)
    entry.set(platform::kAccessLogObservedBitrateDeviation, *transfers.observedBitrateDeviation);
}

}  // namespace

platform::Dictionary accessLogEntry(const std::string& url, platform::Date loadedAt,
                                    const PlaybackStatistics& playback, const RelayItem* relayed,
                                    const platform::MediaFacts& facts) {
  platform::Dictionary entry;
  entry.set(platform::kAccessLogDate, loadedAt);
  entry.set(platform::kAccessLogURI, url);
  entry.set(platform::kAccessLogPlaybackType, playbackTypeOf(relayed, facts));
  if (playback.startupSeconds) entry.set(platform::kAccessLogStartupTime, *playback.startupSeconds);
  entry.set(platform::kAccessLogDurationWatched, playback.watchedSeconds);
  entry.set(platform::kAccessLogStallCount, playback.stallCount);
  entry.set(platform::kAccessLogDroppedFrameCount, playback.droppedFrameCount);
  entry.set(platform::kAccessLogSwitchCount, playback.switchCount);
  if (playback.indicatedBitrate)
    entry.set(platform::kAccessLogIndicatedBitrate, *playback.indicatedBitrate);
  double downloaded = 0;
  for (const platform::TimeRange& range : facts.loaded) downloaded += range.duration;
  entry.set(platform::kAccessLogDownloadedDuration, downloaded);
  if (relayed) addTransfers(*relayed, entry);
  return entry;
}

}  // namespace box
