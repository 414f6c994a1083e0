#include "platform/ui/player/MediaOptions.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/foundation/Value.h"
#include "platform/services/SystemServices.h"
#include "platform/ui/player/PlayerTexts.h"

namespace platform {

namespace {

std::string languageOf(const MediaSelectionOption& option, const PlayerTexts& texts,
                       const DeviceInfo& device) {
  std::string name;
  if (!option.languageTag.empty()) name = device.languageName(option.languageTag);
  if (name.empty()) name = option.displayName;
  return name.empty() ? texts.unknownLanguage : name;
}

std::string purposeOf(const MediaSelectionOption& option, const PlayerTexts& texts) {
  for (const auto& [characteristic, word] :
       {std::pair{kMediaOptionHardOfHearing, &texts.hardOfHearing},
        std::pair{kMediaOptionDescribesVideo, &texts.audioDescription},
        std::pair{kMediaOptionCommentary, &texts.commentary}}) {
    const auto& all = option.characteristics;
    if (std::find(all.begin(), all.end(), characteristic) != all.end()) return *word;
  }
  return {};
}

/// Unique names of the options.
std::vector<std::string> namesOf(const std::vector<const MediaSelectionOption*>& options,
                                 const PlayerTexts& texts, const DeviceInfo& device) {
  const auto count = [](const std::vector<std::string>& names) {
    std::map<std::string, int> counts;
    for (const std::string& name : names) ++counts[name];
    return counts;
  };
  std::vector<std::string> names;
  for (const MediaSelectionOption* const option : options) {
    std::string name = languageOf(*option, texts, device);
    if (const std::string purpose = purposeOf(*option, texts); !purpose.empty())
      name += " (" + purpose + ")";
    names.push_back(std::move(name));
  }
  auto counts = count(names);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string& own = options[i]->displayName;
    if (counts[names[i]] > 1 && !own.empty() && own != names[i]) names[i] += " – " + own;
  }
  counts = count(names);
  std::map<std::string, int> numbers;
  for (std::string& name : names) {
    if (counts[name] < 2) continue;
    const int number = ++numbers[name];
    name += " " + std::to_string(number);
  }
  return names;
}

std::optional<MediaOptionList> listOf(const MediaSelectionGroup& group, const PlayerTexts& texts,
                                      const DeviceInfo& device) {
  const bool isText = group.characteristic == kMediaCharacteristicLegible;
  std::vector<const MediaSelectionOption*> options;
  for (const MediaSelectionOption& option : group.options) {
    if (!isText || !option.forced) options.push_back(&option);
  }
  if (options.empty()) return std::nullopt;

  MediaOptionList list;
  list.title = isText ? texts.subtitles : texts.audio;
  if (isText && group.allowsEmptySelection) {
    list.choices.push_back(
        {texts.off, {{std::string(kMediaSelectionCharacteristic), group.characteristic}}});
    list.selected = 0;
  }
  auto names = namesOf(options, texts, device);
  for (std::size_t i = 0; i < options.size(); ++i) {
    if (group.selected && options[i] == &group.options[*group.selected])
      list.selected = list.choices.size();
    list.choices.push_back({std::move(names[i]), PlayerItem::propertyList(group, *options[i])});
  }
  return list;
}

}  // namespace

std::vector<MediaOptionList> mediaOptionLists(const PlayerItem& item, const PlayerTexts& texts,
                                              const DeviceInfo& device) {
  std::vector<MediaOptionList> lists;
  for (const auto& characteristic : {kMediaCharacteristicAudible, kMediaCharacteristicLegible}) {
    for (const MediaSelectionGroup& group : item.selectionGroups()) {
      if (group.characteristic != characteristic) continue;
      if (auto list = listOf(group, texts, device)) lists.push_back(std::move(*list));
    }
  }
  return lists;
}

}  // namespace platform
