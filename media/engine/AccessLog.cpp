#include "media/engine/AccessLog.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/Value.h"
#include "platform/media/MediaLogKeys.h"

namespace media {
namespace {

std::string_view playbackTypeOf(const streaming::StreamedItem* item,
                                const platform::MediaFacts& facts) {
  if (facts.live) return platform::kAccessLogPlaybackTypeLive;
  return item && item->kind() == streaming::StreamedItem::Kind::Presentation
             ? platform::kAccessLogPlaybackTypeStream
             : platform::kAccessLogPlaybackTypeFile;
}

void addTransfers(const streaming::AccessLogEntry& itemEntry, platform::Dictionary& entry) {
  const streaming::TransferStatistics& transfers = itemEntry.statistics;
  if (!transfers.serverAddress.empty())
    entry.set(platform::kAccessLogServerAddress, transfers.serverAddress);
  entry.set(platform::kAccessLogRequestCount, transfers.requestCount);
  entry.set(platform::kAccessLogBytesTransferred, transfers.bytesTransferred);
  entry.set(platform::kAccessLogTransferDuration, transfers.transferSeconds);
  if (transfers.observedBitrate)
    entry.set(platform::kAccessLogObservedBitrate, *transfers.observedBitrate);
  if (transfers.observedBitrateDeviation)
    entry.set(platform::kAccessLogObservedBitrateDeviation, *transfers.observedBitrateDeviation);
  if (itemEntry.indicatedBitrate)
    entry.set(platform::kAccessLogIndicatedBitrate, *itemEntry.indicatedBitrate);
}

void addPlayback(const PlaybackStatistics& before, const PlaybackStatistics& after,
                 platform::Dictionary& entry) {
  if (after.startupSeconds && !before.startupSeconds)
    entry.set(platform::kAccessLogStartupTime, *after.startupSeconds);
  entry.set(platform::kAccessLogDurationWatched, after.watchedSeconds - before.watchedSeconds);
  entry.set(platform::kAccessLogStallCount, after.stallCount - before.stallCount);
  entry.set(platform::kAccessLogDroppedFrameCount,
            after.droppedFrameCount - before.droppedFrameCount);
}

}  // namespace

platform::Array accessLogEntries(const AccessLogInput& input, const platform::MediaFacts& facts) {
  const std::vector<streaming::AccessLogEntry> itemEntries =
      input.item ? input.item->accessLog() : std::vector<streaming::AccessLogEntry>(1);
  double loaded = 0;
  for (const platform::TimeRange& range : facts.loaded) loaded += range.duration;
  platform::Array entries;
  PlaybackStatistics before;
  for (std::size_t index = 0; index < itemEntries.size(); ++index) {
    const streaming::AccessLogEntry& itemEntry = itemEntries[index];
    const bool isLast = index + 1 == itemEntries.size();
    // The item may begin a new entry before the pipeline does.
    const PlaybackStatistics& after =
        isLast ? input.playback.back() : input.playback[std::min(index, input.playback.size() - 1)];
    platform::Dictionary entry;
    entry.set(
        platform::kAccessLogDate,
        index == 0 ? input.loadedAt : platform::Date{input.now.secondsSince1970 - itemEntry.age});
    entry.set(platform::kAccessLogURI, input.url);
    entry.set(platform::kAccessLogPlaybackType, playbackTypeOf(input.item, facts));
    addPlayback(before, after, entry);
    entry.set(platform::kAccessLogSwitchCount, std::uint64_t{itemEntry.isSwitch ? 1u : 0u});
    entry.set(platform::kAccessLogDownloadedDuration,
              itemEntry.mediaSeconds > 0 ? itemEntry.mediaSeconds : loaded);
    if (input.item) addTransfers(itemEntry, entry);
    entries.append(std::move(entry));
    before = after;
  }
  return entries;
}

}  // namespace media
