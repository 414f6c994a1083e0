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

// Entries of the property-list form of a media selection option.
inline constexpr std::string_view kMediaSelectionCharacteristic = "TVSMediaSelectionCharacteristic";
inline constexpr std::string_view kMediaSelectionIdentifier = "TVSMediaSelectionIdentifier";
inline constexpr std::string_view kMediaSelectionDisplayName = "TVSMediaSelectionDisplayName";
inline constexpr std::string_view kMediaSelectionLanguageTag = "TVSMediaSelectionLanguageTag";
inline constexpr std::string_view kMediaSelectionForced = "TVSMediaSelectionForced";  // boolean
inline constexpr std::string_view kMediaSelectionCharacteristics =
    "TVSMediaSelectionCharacteristics";  // array of strings

enum class PlayerItemStatus : int { Unknown = 0, ReadyToPlay = 1, Failed = 2 };

/// The current media item as the engine has it loaded. Belongs to its player; good until the
/// player's current item changes, its engine is let go, or it is loaded again. Main thread.
class PlayerItem {
 public:
  explicit PlayerItem(TVSPlayer& player, std::shared_ptr<TVSMediaItem> mediaItem)
      : _player(player), _mediaItem(std::move(mediaItem)) {}

  PlayerItemStatus status() const { return _status; }
  const std::optional<Error>& error() const { return _error; }
  const std::shared_ptr<TVSMediaItem>& mediaItem() const { return _mediaItem; }

  bool isLive() const;
  /// As the media themselves say; empty where they do not.
  const std::string& title() const;
  /// By their starts.
  const std::vector<MediaChapter>& chapters() const;
  bool isPlaybackLikelyToKeepUp() const;
  bool isPlaybackBufferFull() const;
  bool isPlaybackBufferEmpty() const;
  std::optional<double> likelyToKeepUpTime() const;
  std::optional<Date> currentEstimatedDate() const;
  std::vector<TimedMetadataItem> timedMetadata() const;

  const std::vector<MediaTrack>& tracks() const;
  void setTrackEnabled(std::uint32_t trackID, bool enabled);

  /// In the asset's order; empty until ready.
  const std::vector<MediaSelectionGroup>& selectionGroups() const;
  /// The property-list form of an option: a dictionary with the characteristic of its group and
  /// all that is known of it.
  static Dictionary propertyList(const MediaSelectionGroup& group,
                                 const MediaSelectionOption& option);
  /// Selects what a property list describes. One that names a known characteristic and no option
  /// clears the selection; one that names no known group is ignored. An identifier that this item
  /// does not know, because the description came from another item, gives way to the language, and
  /// among options of one language to the one that is forced as described. Before the item is ready
  /// the selection is kept, the last one of each characteristic, and made as soon as the item is
  /// ready and has what is described.
  void selectPropertyList(const Value& propertyList);

  /// Numeric times limit playback in their direction, others lift the limit.
  void setForwardPlaybackEndTime(const MediaTime& time);
  void setReversePlaybackEndTime(const MediaTime& time);

 private:
  friend class ::TVSPlayer;

  /// What the engine knows of this item; empty facts unless it is ready to play.
  const MediaFacts& _facts() const;
  void _applyEndTimes();
  /// Applies what has been asked of the item while it loaded.
  void _becomeReady();
  /// False: there is no such group or option.
  bool _select(const std::string& characteristic, const Dictionary& description);
  void _makeKeptSelections();

  TVSPlayer& _player;
  std::shared_ptr<TVSMediaItem> _mediaItem;
  std::optional<double> _forwardEndSeconds;
  std::optional<double> _reverseEndSeconds;
  Dictionary _keptSelections;  ///< by characteristic
  PlayerItemStatus _status = PlayerItemStatus::Unknown;
  std::optional<Error> _error;
};

}  // namespace platform
