#include "box/media/AlternateTexts.h"

#include <algorithm>
#include <utility>

#include "box/media/MediaErrors.h"
#include "box/media/StreamDescription.h"
#include "box/media/TextLoader.h"
#include "box/relay/Relay.h"
#include "platform/media/MediaItemKeys.h"

namespace box {
namespace {

constexpr std::string_view kIdentifierPrefix = "alternate-";
constexpr std::size_t kMostAlternateTexts = 256;

std::string identifierOf(std::size_t index) {
  return std::string(kIdentifierPrefix) + std::to_string(index + 1);
}

AlternateText textOf(const platform::Dictionary& track) {
  AlternateText text;
  for (const std::string_view key : {platform::kAlternateTrackSource, platform::kAlternateTrackURL})
    if (text.url.empty()) text.url = track.string(key).value_or("");
  text.language = languageTagOf(track.string(platform::kAlternateTrackLanguage).value_or(""));
  text.name = track.string(platform::kAlternateTrackName).value_or("");
  if (const auto forced = track.number(platform::kAlternateTrackForced))
    text.forced = forced->boolValue();
  const platform::Value list = track.get(platform::kAlternateTrackCharacteristics);
  if (const platform::Array* characteristics = list.asArray())
    for (const platform::Value& each : *characteristics)
      if (const std::string* name = each.asString()) text.characteristics.push_back(*name);
  text.characteristics.emplace_back(platform::kMediaOptionOutOfBand);
  return text;
}

}  // namespace

std::vector<AlternateText> alternateTextsOf(const TVSMediaItem& item, bool allowFileURLs) {
  std::vector<AlternateText> texts;
  const platform::Value value = item.metadata(platform::kMediaItemAlternateTracks);
  const platform::Array* tracks = value.asArray();
  if (!tracks) return texts;
  for (const platform::Value& each : *tracks) {
    const platform::Dictionary* track = each.asDictionary();
    if (!track || texts.size() >= kMostAlternateTexts) continue;
    AlternateText text = textOf(*track);
    if (!refusalOf(text.url, allowFileURLs)) texts.push_back(std::move(text));
  }
  return texts;
}

AlternateTexts::AlternateTexts(std::vector<AlternateText> texts) : _texts(std::move(texts)) {}
AlternateTexts::~AlternateTexts() = default;

std::optional<std::size_t> AlternateTexts::find(const std::string& identifier) const {
  for (std::size_t index = 0; index < _texts.size(); ++index)
    if (identifier == identifierOf(index)) return index;
  return std::nullopt;
}

bool AlternateTexts::select(std::optional<std::size_t> text) {
  if (text == _selected) return false;
  stop();
  _selected = text;
  return true;
}

void AlternateTexts::load(const RelayItem* way,
                          std::function<void(std::vector<SubtitleCue>)> done) {
  stop();
  if (!_selected) return;
  const std::string& url = _texts[*_selected].url;
  _loader =
      std::make_unique<TextLoader>(way && isRelayed(url) ? way->urlFor(url) : url, std::move(done));
}

void AlternateTexts::stop() { _loader.reset(); }

void AlternateTexts::appendTo(std::vector<platform::MediaSelectionGroup>& groups) const {
  if (_texts.empty()) return;
  auto group = std::find_if(groups.begin(), groups.end(), [](const auto& each) {
    return each.characteristic == platform::kMediaCharacteristicLegible;
  });
  if (group == groups.end()) {
    groups.push_back({std::string(platform::kMediaCharacteristicLegible), {}, std::nullopt, true});
    group = std::prev(groups.end());
  }
  if (_selected) group->selected = group->options.size() + *_selected;
  for (std::size_t index = 0; index < _texts.size(); ++index) {
    const AlternateText& text = _texts[index];
    std::string name = !text.name.empty() ? text.name : text.language;
    if (name.empty()) name = "Subtitles " + std::to_string(group->options.size() + 1);
    group->options.push_back(
        {identifierOf(index), std::move(name), text.language, text.forced, text.characteristics});
  }
}

}  // namespace box
