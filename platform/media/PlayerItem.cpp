#include "platform/media/PlayerItem.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/Value.h"
#include "platform/media/TVSPlayer.h"
#include "platform/media/TimedMetadataItem.h"

namespace platform {

namespace {

std::optional<double> secondsOfLimit(const MediaTime& time) {
  return time.isNumeric() ? std::optional(time.toSeconds()) : std::nullopt;
}

bool isKnownCharacteristic(std::string_view characteristic) {
  return characteristic == kMediaCharacteristicAudible ||
         characteristic == kMediaCharacteristicLegible ||
         characteristic == kMediaCharacteristicVisual;
}

const MediaSelectionOption* optionDescribedBy(const Dictionary& description,
                                              const MediaSelectionGroup& group) {
  const auto identifier = description.string(kMediaSelectionIdentifier);
  const auto language = description.string(kMediaSelectionLanguageTag);
  const auto forced = description.number(kMediaSelectionForced);
  const auto name = description.string(kMediaSelectionDisplayName);
  const MediaSelectionOption* sameLanguage = nullptr;
  for (const MediaSelectionOption& each : group.options) {
    if (identifier && !identifier->empty() && each.identifier == *identifier) return &each;
    if (!language || each.languageTag != *language) continue;
    // Options without a language are told apart by their names.
    if (language->empty() && (name ? each.displayName != *name : identifier.has_value())) continue;
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
bool PlayerItem::hasCover() const { return _facts().hasCover; }
const std::vector<MediaChapter>& PlayerItem::chapters() const { return _facts().chapters; }
bool PlayerItem::isPlaybackLikelyToKeepUp() const { return _facts().likelyToKeepUp; }
bool PlayerItem::isPlaybackBufferFull() const { return _facts().bufferFull; }
bool PlayerItem::isPlaybackBufferEmpty() const { return _facts().bufferEmpty; }
std::optional<double> PlayerItem::likelyToKeepUpTime() const { return _facts().likelyToKeepUpTime; }
std::optional<Date> PlayerItem::currentEstimatedDate() const { return _facts().estimatedDate; }
TimedMetadataList PlayerItem::timedMetadata() const { return _facts().timedMetadata; }

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
  const auto characteristic =
      description ? description->string(kMediaSelectionCharacteristic) : std::nullopt;
  if (!characteristic) return;
  _pendingSelections.remove(*characteristic);
  if (_status == PlayerItemStatus::ReadyToPlay) {
    _select(*characteristic, *description);
  } else if (isKnownCharacteristic(*characteristic)) {
    _pendingSelections.set(*characteristic, propertyList);
  }
}

bool PlayerItem::_select(const std::string& characteristic, const Dictionary& description) {
  const auto& groups = selectionGroups();
  const auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& candidate) {
    return candidate.characteristic == characteristic;
  });
  if (group == groups.end()) return false;
  if (!description.string(kMediaSelectionIdentifier) &&
      !description.string(kMediaSelectionLanguageTag)) {
    _player._engine->selectOption(characteristic, std::nullopt);
    return true;
  }
  const auto* option = optionDescribedBy(description, *group);
  if (!option) return false;
  // A copy, because the facts are valid only until the next engine call.
  const std::string identifier = option->identifier;
  _player._engine->selectOption(characteristic, identifier);
  return true;
}

void PlayerItem::_applyPendingSelections() {
  if (_pendingSelections.empty()) return;
  for (const auto& [characteristic, selection] : std::exchange(_pendingSelections, {})) {
    // Kept if it does not match yet: the languages of options may become known after the options.
    if (!_select(characteristic, *selection.asDictionary()))
      _pendingSelections.set(characteristic, selection);
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

void PlayerItem::_becomeReady() {
  _status = PlayerItemStatus::ReadyToPlay;
  const auto forward = _mediaItem->finiteMetadata(kMediaItemForwardEndTime);
  const auto reverse = _mediaItem->finiteMetadata(kMediaItemReverseEndTime);
  if (forward != _forwardEndSeconds || reverse != _reverseEndSeconds) {
    _forwardEndSeconds = forward;
    _reverseEndSeconds = reverse;
    _applyEndTimes();
  }
  _applyPendingSelections();
}

void PlayerItem::_applyEndTimes() {
  if (_status != PlayerItemStatus::Failed && _player._engine) {
    _player._engine->setEndTimes(_forwardEndSeconds, _reverseEndSeconds);
    _player._updatePreparation();
  }
}

}  // namespace platform
