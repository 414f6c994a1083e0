#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/MediaTime.h"
#include "platform/foundation/Value.h"
#include "platform/media/TVSPlayer.h"

/// What a sender reads from and writes to a player, as property-list values. No state of its own:
/// every operation is computed afresh. None reports an error: what is not there answers an empty
/// value or does nothing. Main thread.
namespace TVSPlayerVorlane {

/// Empty without a loaded item. "readyToPlay" and "uuid" always; position, duration, rate, dates,
/// ranges and buffer flags when it is ready; "code", "domain" and the error's texts when it has
/// failed.
platform::Dictionary playbackInfo(TVSPlayer& player);

/// Nothing when the log has no entries.
platform::Value accessLogArray(const TVSPlayer& player);
platform::Value errorLogArray(const TVSPlayer& player);
platform::Value timedMetadata(const TVSPlayer& player);

/// Of the first track with that number; false unless the item is ready.
bool trackEnabled(const TVSPlayer& player, std::uint32_t trackID);
/// Of every track with that number; nothing unless the item is ready.
void setTrackEnabled(TVSPlayer& player, bool enabled, std::uint32_t trackID);

platform::Array selectedMediaArray(const TVSPlayer& player);
/// Entries that describe no group of the item are skipped.
void setSelectedMediaArray(TVSPlayer& player, const platform::Array& array);

/// Seconds; below 0 is 0, and beyond a known duration is the duration.
void setPlayerPosition(TVSPlayer& player, double position);
/// Exactly 0 pauses, any other rate plays at it.
void setPlayerRate(TVSPlayer& player, float rate);

/// Applies to the loaded item, and is kept with the media item for when it is ready.
void setForwardPlaybackEndTime(TVSPlayer& player, const platform::MediaTime& time);
void setReversePlaybackEndTime(TVSPlayer& player, const platform::MediaTime& time);

/// The first item of the playlist with that TVVorlaneMediaItemMetadataUUID, or null.
std::shared_ptr<TVSMediaItem> mediaItemForIdentifier(const TVSPlayer& player,
                                                     const std::optional<std::string>& identifier);

}  // namespace TVSPlayerVorlane
