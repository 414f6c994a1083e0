#include <algorithm>

#include "TVVorlane/TVSPlayer+Vorlane.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneMediaItem.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/TimedMetadataItem.h"

using platform::Array;
using platform::Dictionary;
using platform::PlayerItem;
using platform::PlayerItemStatus;
using platform::Value;

namespace {

Array rangeDictionaries(const std::vector<platform::TimeRange>& ranges) {
  Array array;
  for (const auto& range : ranges)
    array.append(Dictionary{{"start", range.start}, {"duration", range.duration}});
  return array;
}

PlayerItem* readyItem(const TVSPlayer& player) {
  PlayerItem* item = player.currentPlayerItem();
  return item && item->status() == PlayerItemStatus::ReadyToPlay ? item : nullptr;
}

void addReadyEntries(Dictionary& info, const TVSPlayer& player, const PlayerItem& item) {
  const double duration = player.duration();
  info.set("position", player.elapsedTime());
  info.set("duration", duration == TVSDurationIndefinite ? 0.0 : duration);
  info.set("rate", player.rate());
  if (const auto date = player.playbackDate()) info.set("date", *date);
  info.set("seekableTimeRanges", rangeDictionaries(player.cachedSeekableTimeRanges()));
  info.set("loadedTimeRanges", rangeDictionaries(player.cachedLoadedTimeRanges()));
  info.set("playbackLikelyToKeepUp", item.isPlaybackLikelyToKeepUp());
  info.set("playbackBufferFull", item.isPlaybackBufferFull());
  info.set("playbackBufferEmpty", item.isPlaybackBufferEmpty());
  if (const auto time = item.likelyToKeepUpTime()) info.set("playbackLikelyToKeepUpTime", *time);
  if (const auto date = item.currentEstimatedDate()) info.set("estimatedDate", *date);
}

Value valueOf(std::optional<Array> array) { return array ? Value(*std::move(array)) : Value(); }

using SetEndTime = void (PlayerItem::*)(const platform::MediaTime&);

void setEndTime(TVSPlayer& player, const platform::MediaTime& time, SetEndTime apply,
                std::string_view metadataKey) {
  if (PlayerItem* item = readyItem(player)) (item->*apply)(time);
  if (const auto mediaItem = player.currentMediaItem())
    mediaItem->setMetadata(metadataKey, time.toSeconds());
}

}  // namespace

namespace TVSPlayerVorlane {

Dictionary playbackInfo(TVSPlayer& player) {
  Dictionary info;
  const PlayerItem* item = player.hasQueuePlayer() ? player.currentPlayerItem() : nullptr;
  if (!item) return info;
  const PlayerItemStatus status = item->status();
  info.set("readyToPlay", status == PlayerItemStatus::ReadyToPlay ? 1 : 0);
  if (status == PlayerItemStatus::ReadyToPlay) addReadyEntries(info, player, *item);
  if (status == PlayerItemStatus::Failed && item->error()) {
    info.merge(*TVVorlaneUtilities::errorToDictionary(item->error()));
  }
  if (const auto mediaItem = player.currentMediaItem()) {
    info.set("uuid", mediaItem->metadata(TVVorlaneMediaItemMetadataUUID));
  }
  return info;
}

Value accessLogArray(const TVSPlayer& player) { return valueOf(player.accessLog()); }

Value errorLogArray(const TVSPlayer& player) { return valueOf(player.errorLog()); }

Value timedMetadata(const TVSPlayer& player) {
  const PlayerItem* item = readyItem(player);
  return item ? Value(TVVorlaneUtilities::timedMetadataFromAVTimedMetadata(item->timedMetadata()))
              : Value();
}

bool trackEnabled(const TVSPlayer& player, std::uint32_t trackID) {
  const PlayerItem* item = readyItem(player);
  if (!item) return false;
  const auto& tracks = item->tracks();
  const auto track = std::find_if(tracks.begin(), tracks.end(), [&](const auto& candidate) {
    return candidate.trackID == trackID;
  });
  return track != tracks.end() && track->enabled;
}

void setTrackEnabled(TVSPlayer& player, bool enabled, std::uint32_t trackID) {
  if (PlayerItem* item = readyItem(player)) item->setTrackEnabled(trackID, enabled);
}

Array selectedMediaArray(const TVSPlayer& player) {
  Array selected;
  if (const PlayerItem* item = player.currentPlayerItem()) {
    for (const auto& group : item->selectionGroups()) {
      if (group.selected)
        selected.append(PlayerItem::propertyList(group, group.options[*group.selected]));
    }
  }
  return selected;
}

void setSelectedMediaArray(TVSPlayer& player, const Array& array) {
  for (const Value& entry : array) {
    if (PlayerItem* item = player.currentPlayerItem()) item->selectPropertyList(entry);
  }
}

void setPlayerPosition(TVSPlayer& player, double position) {
  const double duration = player.duration();
  double clamped = position < 0 ? 0 : position;
  // The duration is 0 or less if it is unknown. Then the position has no upper limit.
  if (duration > 0 && clamped > duration) clamped = duration;
  player.setElapsedTime(clamped);
  TVSLogNotice(TVVLSession, "Vorlane set position to %f of %f (%f)", clamped, duration, position);
}

void setPlayerRate(TVSPlayer& player, float rate) {
  if (rate == 0) {
    player.pause();
  } else {
    player.setRateUsedForPlayback(static_cast<double>(rate));
    player.play();
  }
  TVSLogNotice(TVVLSession, "Vorlane set rate to %f", rate);
}

void setForwardPlaybackEndTime(TVSPlayer& player, const platform::MediaTime& time) {
  setEndTime(player, time, &PlayerItem::setForwardPlaybackEndTime,
             platform::kMediaItemForwardEndTime);
}

void setReversePlaybackEndTime(TVSPlayer& player, const platform::MediaTime& time) {
  setEndTime(player, time, &PlayerItem::setReversePlaybackEndTime,
             platform::kMediaItemReverseEndTime);
}

std::shared_ptr<TVSMediaItem> mediaItemForIdentifier(const TVSPlayer& player,
                                                     const std::optional<std::string>& identifier) {
  if (!identifier || !player.playlist()) return nullptr;
  const auto& items = player.playlist()->trackList();
  const auto found = std::find_if(items.begin(), items.end(), [&](const auto& item) {
    return item->metadataEquals(TVVorlaneMediaItemMetadataUUID, *identifier);
  });
  return found != items.end() ? *found : nullptr;
}

}  // namespace TVSPlayerVorlane
