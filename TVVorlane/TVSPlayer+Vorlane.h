#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/MediaTime.h"
#include "platform/media/TVSPlayer.h"

/// Player properties that a sender reads and writes, as property-list values. Functions without
/// state. No function reports an error: a getter without data returns an empty value, a setter that
/// cannot be applied does nothing. Main thread.
namespace TVSPlayerVorlane {

/// Empty if no item is loaded. Otherwise it has "readyToPlay", and "uuid" if the item has one. A
/// ready item adds position, duration, rate, dates, time ranges and buffer flags. A failed item
/// adds "code", "domain" and the texts of the error.
platform::Dictionary playbackInfo(TVSPlayer& player);

/// None if the log has no entries.
platform::Value accessLogArray(const TVSPlayer& player);
platform::Value errorLogArray(const TVSPlayer& player);
platform::Value timedMetadata(const TVSPlayer& player);

/// Returns the state of the first track with this ID, or false if the item is not ready.
bool trackEnabled(const TVSPlayer& player, std::uint32_t trackID);
/// Applies to every track with this ID. Does nothing if the item is not ready.
void setTrackEnabled(TVSPlayer& player, bool enabled, std::uint32_t trackID);

platform::Array selectedMediaArray(const TVSPlayer& player);
/// Skips entries that match no selection group of the item.
void setSelectedMediaArray(TVSPlayer& player, const platform::Array& array);

/// Seconds, clamped to 0 and to the duration if that is known.
void setPlayerPosition(TVSPlayer& player, double position);
/// A rate of exactly 0 pauses. Any other rate starts playback at that rate.
void setPlayerRate(TVSPlayer& player, float rate);

/// Applies to the item at once if it is ready, and is stored in the metadata of the media item.
void setForwardPlaybackEndTime(TVSPlayer& player, const platform::MediaTime& time);
void setReversePlaybackEndTime(TVSPlayer& player, const platform::MediaTime& time);

/// Returns the first playlist item whose TVVorlaneMediaItemMetadataUUID is `identifier`, or null.
std::shared_ptr<TVSMediaItem> mediaItemForIdentifier(const TVSPlayer& player,
                                                     const std::optional<std::string>& identifier);

}  // namespace TVSPlayerVorlane
