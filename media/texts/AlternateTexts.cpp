#include "media/texts/AlternateTexts.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "media/pipeline/StreamDescription.h"
#include "media/support/GstRef.h"
#include "media/support/MediaErrors.h"
#include "media/texts/TextFormats.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/MediaItemKeys.h"

namespace media {
namespace {

constexpr std::string_view kIdentifierPrefix = "alternate-";
constexpr std::size_t kMaxAlternateTexts = 256;
constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;

TextContent contentOrNone(const std::string& bytes) {
  auto content = contentOfText(bytes);
  if (!content && !bytes.empty())
    TVSLogWarning(TVSSystemLog, "A subtitle file has an unknown format");
  return content ? *std::move(content) : TextContent();
}

/// Returns an empty string for a file that cannot be read or is too long.
std::string bytesOfFile(const std::string& url) {
  const GstRef<gchar> path(g_filename_from_uri(url.c_str(), nullptr, nullptr));
  std::ifstream file(path ? path.get() : "", std::ios::binary);
  std::string bytes(kMaxFileBytes + 1, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes.size() > kMaxFileBytes ? std::string() : bytes;
}

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
    if (!track || texts.size() >= kMaxAlternateTexts) continue;
    AlternateText text = textOf(*track);
    if (!unsupportedURLError(text.url, allowFileURLs)) texts.push_back(std::move(text));
  }
  return texts;
}

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

void AlternateTexts::load(streaming::Streaming& streaming,
                          std::shared_ptr<streaming::StreamedItem> item,
                          std::function<void(TextContent)> done) {
  stop();
  if (!_selected) return;
  const std::string& url = _texts[*_selected].url;
  if (!isStreamedURL(url)) {
    done(contentOrNone(bytesOfFile(url)));
    return;
  }
  if (!item) {
    streaming::ItemSetup setup;
    setup.url = url;
    item = streaming.open(std::move(setup), {});
  }
  auto loading = item->loadText(
      url, [done = std::move(done)](const std::string& bytes) { done(contentOrNone(bytes)); });
  _loading =
      std::make_shared<std::pair<std::shared_ptr<streaming::StreamedItem>, std::shared_ptr<void>>>(
          item, std::move(loading));
}

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

}  // namespace media
