#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/media/PlayerItem.h"

namespace platform {

class DeviceInfo;
struct PlayerTexts;

/// The choices that an item offers of one kind, as a person reads them.
struct MediaOptionList {
  struct Choice {
    std::string name;
    /// For PlayerItem::selectPropertyList().
    Dictionary propertyList;
  };
  std::string title;
  std::vector<Choice> choices;
  std::optional<std::size_t> selected;
};

/// Of sound and of subtitles, as far as the item offers any. Subtitles can be off as well; texts
/// that are forced are no choice, they belong to the sound.
///
/// A choice is named after its language in the user's language, and after what sets it apart:
/// its purpose, or else the name that the media give it, or else a number.
std::vector<MediaOptionList> mediaOptionLists(const PlayerItem& item, const PlayerTexts& texts,
                                              const DeviceInfo& device);

}  // namespace platform
