#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/foundation/MediaTime.h"
#include "platform/media/MediaFacts.h"
#include "platform/media/TVSMediaItem.h"

class TVSPlayer;

namespace platform {

// Keys of the property-list form of a media selection option.
inline constexpr std::string_view kMediaSelectionCharacteristic = "TVSMediaSelectionCharacteristic";
inline constexpr std::string_view kMediaSelectionIdentifier = "TVSMediaSelectionIdentifier";
inline constexpr std::string_view kMediaSelectionDisplayName = "TVSMediaSelectionDisplayName";
inline constexpr std::string_view kMediaSelectionLanguageTag = "TVSMediaSelectionLanguageTag";
inline constexpr std::string_view kMediaSelectionForced = "TVSMediaSelectionForced";  // boolean
inline constexpr std::string_view kMediaSelectionCharacteristics =
    "TVSMediaSelectionCharacteristics";  // array of strings

enum class PlayerItemStatus : int { Unknown = 0, ReadyToPlay = 1, Failed = 2 };

/// The media item that the engine of a player has loaded. Owned by the player; valid until the next
/// load, a change of the current item, or invalidate(). Main thread.
class PlayerItem {
 public:
  explicit PlayerItem(TVSPlayer& player, std::shared_ptr<TVSMediaItem> mediaItem)
      : _player(player), _mediaItem(std::move(mediaItem)) {}

  PlayerItemStatus status() const { return _status; }
  const std::optional<Error>& error() const { return _error; }
  const std::shared_ptr<TVSMediaItem>& mediaItem() const { return _mediaItem; }

  bool isLive() const;
  /// The title in the media; may be empty.
  const std::string& title() const;
  /// Whether the video output shows a cover, because the item has no video.
  bool hasCover() const;
  /// In order of start.
  const std::vector<MediaChapter>& chapters() const;
  bool isPlaybackLikelyToKeepUp() const;
  bool isPlaybackBufferFull() const;
  bool isPlaybackBufferEmpty() const;
  std::optional<double> likelyToKeepUpTime() const;
  std::optional<Date> currentEstimatedDate() const;
  TimedMetadataList timedMetadata() const;

  const std::vector<MediaTrack>& tracks() const;
  void setTrackEnabled(std::uint32_t trackID, bool enabled);

  /// In the order of the media. Empty before the item is ready.
  const std::vector<MediaSelectionGroup>& selectionGroups() const;
  /// The property-list form of an option: a dictionary with kMediaSelection… keys.
  static Dictionary propertyList(const MediaSelectionGroup& group,
                                 const MediaSelectionOption& option);
  /// Selects the option that a property list describes. Without an identifier and a language the
  /// group of the characteristic is deselected. If the identifier is unknown, because the property
  /// list is from another item, the option is chosen by language and the `forced` flag. A property
  /// list without a known characteristic is ignored.
  ///
  /// Before the item is ready, the last selection of each characteristic is stored. It is applied
  /// when the item is ready and has a matching option.
  void selectPropertyList(const Value& propertyList);

  /// The end of playback in each direction. A time that is not numeric removes the limit.
  void setForwardPlaybackEndTime(const MediaTime& time);
  void setReversePlaybackEndTime(const MediaTime& time);

 private:
  friend class ::TVSPlayer;

  const MediaFacts& _facts() const;
  void _applyEndTimes();
  /// Applies the end times and selections that were set during the load.
  void _becomeReady();
  /// False if there is no such group or option.
  bool _select(const std::string& characteristic, const Dictionary& description);
  void _applyPendingSelections();

  TVSPlayer& _player;
  std::shared_ptr<TVSMediaItem> _mediaItem;
  std::optional<double> _forwardEndSeconds;
  std::optional<double> _reverseEndSeconds;
  Dictionary _pendingSelections;  ///< by characteristic
  PlayerItemStatus _status = PlayerItemStatus::Unknown;
  std::optional<Error> _error;
};

}  // namespace platform
