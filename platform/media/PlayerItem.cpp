#include "platform/media/PlayerItem.h"

#include <algorithm>

#include "platform/media/TVSPlayer.h"

namespace platform {

namespace {

std::optional<double> secondsOfLimit(const MediaTime& time) {
  return time.isNumeric() ? std::optional(time.toSeconds()) : std::nullopt;
}

const MediaSelectionOption* optionDescribedBy(const Dictionary& description,
                                              const MediaSelectionGroup& group) {
  const auto identifier = description.string(kMediaSelectionIdentifier);
  const auto language = description.string(kMediaSelectionLanguageTag);
  const auto forced = description.number(kMediaSelectionForced);
  const MediaSelectionOption* sameLanguage = nullptr;
  for (const MediaSelectionOption& each : group.options) {
    if (identifier && !identifier->empty() && each.identifier == *identifier) return &each;
    if (!language || language->empty() || each.languageTag != *language) continue;
    const bool fits = forced && sameLanguage && sameLanguage->forced != forced->boolValue() &&
                      each.forced == forced->boolValue();
    if (!sameLanguage || fits) sameLanguage = &each;
  }
  return sameLanguage;
}

}  // namespace

const MediaFacts& PlayerItem::_facts() const {
  static const MediaFacts none;
  return _status == PlayerItemStatus::ReadyToPlay && _player._engine ? _player._engine->facts()
                                                                     : none;
}

bool PlayerItem::isLive() const { return _facts().live; }
const std::string& PlayerItem::title() const { return _facts().title; }
const std::vector<MediaChapter>& PlayerItem::chapters() const { return _facts().chapters; }
bool PlayerItem::isPlaybackLikelyToKeepUp() const { return _facts().likelyToKeepUp; }
bool PlayerItem::isPlaybackBufferFull() const { return _facts().bufferFull; }
bool PlayerItem::isPlaybackBufferEmpty() const { return _facts().bufferEmpty; }
std::optional<double> PlayerItem::likelyToKeepUpTime() const { return _facts().likelyToKeepUpTime; }
std::optional<Date> PlayerItem::currentEstimatedDate() const { return _facts().estimatedDate; }
std::vector<TimedMetadataItem> PlayerItem::timedMetadata() const { return _facts().timedMetadata; }

const std::vector<MediaTrack>& PlayerItem::tracks() const { return _facts().tracks; }

void PlayerItem::setTrackEnabled(std::uint32_t trackID, bool enabled) {
  if (_status == PlayerItemStatus::ReadyToPlay && _player._engine)
    _player._engine->setTrackEnabled(trackID, enabled);
}

const std::vector<MediaSelectionGroup>& PlayerItem::selectionGroups() const {
  return _facts().selectionGroups;
}

Dictionary PlayerItem::propertyList(const MediaSelectionGroup& group,
                                    const MediaSelectionOption& option) {
  Array characteristics;
  for (const std::string& each : option.characteristics) characteristics.append(each);
  return {{std::string(kMediaSelectionCharacteristic), group.characteristic},
          {std::string(kMediaSelectionIdentifier), option.identifier},
          {std::string(kMediaSelectionDisplayName), option.displayName},
          {std::string(kMediaSelectionLanguageTag), option.languageTag},
          {std::string(kMediaSelectionForced), option.forced},
          {std::string(kMediaSelectionCharacteristics), std::move(characteristics)}};
}

void PlayerItem::selectPropertyList(const Value& propertyList) {
  const auto* description = propertyList.asDictionary();
  if (!description) return;
  const auto characteristic = description->string(kMediaSelectionCharacteristic);
  if (!characteristic) return;
  const auto& groups = selectionGroups();
  const auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& candidate) {
    return candidate.characteristic == *characteristic;
  });
  if (group == groups.end()) return;
  if (!description->string(kMediaSelectionIdentifier) &&
      !description->string(kMediaSelectionLanguageTag)) {
    _player._engine->selectOption(*characteristic, std::nullopt);
  } else if (const auto* option = optionDescribedBy(*description, *group)) {
    // A copy: the facts are good until the next engine call only.
    const std::string identifier = option->identifier;
    _player._engine->selectOption(*characteristic, identifier);
  }
}

void PlayerItem::setForwardPlaybackEndTime(const MediaTime& time) {
  _forwardEndSeconds = secondsOfLimit(time);
  _applyEndTimes();
}

void PlayerItem::setReversePlaybackEndTime(const MediaTime& time) {
  _reverseEndSeconds = secondsOfLimit(time);
  _applyEndTimes();
}

void PlayerItem::_applyEndTimes() {
  if (_status != PlayerItemStatus::Failed && _player._engine) {
    _player._engine->setEndTimes(_forwardEndSeconds, _reverseEndSeconds);
    _player._updatePreparation();
  }
}

}  // namespace platform
