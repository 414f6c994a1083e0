#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Dictionary.h"
#include "platform/media/PlayerItem.h"

namespace platform {

class DeviceInfo;
struct PlayerTexts;

/// The options of one kind (audio or subtitles) with localized names.
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

/// The audio and subtitle options of an item. Subtitles have the additional choice "Off". Forced
/// subtitles are not included, because they are displayed with the matching audio.
///
/// The name of a choice is its language, and if necessary its purpose, its name in the media, or a
/// number.
std::vector<MediaOptionList> mediaOptionLists(const PlayerItem& item, const PlayerTexts& texts,
                                              const DeviceInfo& device);

}  // namespace platform
