#include "platform/ui/player/TransportBarModel.h"

#include <algorithm>
#include <cmath>

#include "platform/media/TVSPlayer.h"
#include "platform/ui/player/ItemTitle.h"
#include "platform/ui/player/PlayerRemote.h"
#include "platform/ui/player/PlayerTexts.h"

namespace platform {

namespace {

TransportState transportState(const TVSPlayer& player) {
  switch (player.state()) {
    case TVSPlaybackState::Loading:
      return TransportState::Loading;
    case TVSPlaybackState::Playing:
      return TransportState::Playing;
    case TVSPlaybackState::Paused:
    case TVSPlaybackState::Stopped:
      return TransportState::Paused;
    case TVSPlaybackState::Scanning:
      return player.rate() < 0 ? TransportState::ScanningBackward : TransportState::ScanningForward;
  }
  return TransportState::Paused;
}

void addTimeLine(TransportBarElement& bar, const TVSPlayer& player, double duration) {
  bar.duration = duration;
  for (const TimeRange& range : player.cachedLoadedTimeRanges()) {
    const double start = std::clamp(range.start / duration, 0.0, 1.0);
    const double end = std::clamp((range.start + range.duration) / duration, 0.0, 1.0);
    if (start < end) bar.loaded.emplace_back(start, end);
  }
  if (const PlayerItem* const item = player.currentPlayerItem()) {
    // A chapter at 0 has no mark.
    for (const MediaChapter& chapter : item->chapters()) {
      if (chapter.start > 0 && chapter.start < duration)
        bar.chapters.push_back(chapter.start / duration);
    }
  }
}

}  // namespace

TransportBarElement transportBar(const TVSPlayer& player, const PlayerRemote& remote,
                                 const PlayerTexts& texts) {
  TransportBarElement bar;
  bar.title = displayTitle(player);
  bar.state = transportState(player);
  if (const auto rate = player.scanRate()) {
    // The requested rate: the state of the player is Playing during a scan at rate 2.
    bar.state = *rate < 0 ? TransportState::ScanningBackward : TransportState::ScanningForward;
    bar.rate = *rate;
  }
  if (bar.state == TransportState::Paused) bar.stateText = texts.paused;
  bar.elapsed = remote.time();
  bar.seeking = remote.isSeeking();
  bar.skipped = remote.skipped();
  bar.skipText = texts.skipText(bar.skipped);
  const double duration = player.duration();
  if (std::isfinite(duration) && duration > 0) {
    addTimeLine(bar, player, duration);
  } else if (const PlayerItem* const item = player.currentPlayerItem()) {
    bar.live = item->isLive();
  }
  bar.liveText = texts.live;
  if (remote.isBehindLiveEdge()) bar.goToLiveText = texts.goToLive;
  return bar;
}

}  // namespace platform
