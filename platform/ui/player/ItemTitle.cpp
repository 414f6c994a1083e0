#include "platform/ui/player/ItemTitle.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "platform/foundation/Value.h"
#include "platform/media/TVSPlayer.h"
#include "platform/media/TimedMetadataItem.h"

namespace platform {

namespace {

std::string percentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = 0;
    const char* const digits = text.data() + i + 1;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      result += static_cast<char>(byte);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

/// UTF-8 without control characters, surrogates and overlong forms.
bool isPrintable(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    const auto first = static_cast<unsigned char>(text[at++]);
    if (first < 0x20 || first == 0x7f) return false;
    if (first < 0x80) continue;
    const int length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4) return false;
    char32_t code = first & (0xffU >> (length + 1));
    for (int i = 1; i < length; ++i, ++at) {
      if (at == text.size() || (static_cast<unsigned char>(text[at]) & 0xc0) != 0x80) return false;
      code = code << 6 | (static_cast<unsigned char>(text[at]) & 0x3fU);
    }
    const char32_t least = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
    const bool isSurrogate = code >= 0xd800 && code < 0xe000;
    if (code < least || code > 0x10ffff || isSurrogate || (code >= 0x80 && code < 0xa0))
      return false;
  }
  return true;
}

std::string_view hostOf(std::string_view authority) {
  if (const auto user = authority.rfind('@'); user != std::string_view::npos)
    authority.remove_prefix(user + 1);
  const auto bracket = authority.rfind(']');
  const auto port = authority.rfind(':');
  const bool hasPort =
      port != std::string_view::npos && (bracket == std::string_view::npos || bracket < port);
  return hasPort ? authority.substr(0, port) : authority;
}

std::optional<std::string> textOf(const TVSMediaItem& item, std::string_view key) {
  const Value value = item.metadata(key);
  if (!value.asString() || value.asString()->empty()) return std::nullopt;
  return *value.asString();
}

/// Returns a tag of the media.
std::string tagOf(const PlayerItem& item, std::string_view key) {
  for (const TimedMetadataItem& each : item.timedMetadata())
    if (each.keySpace == "common" && each.key == Value(key) && each.value.asString())
      return *each.value.asString();
  return {};
}

}  // namespace

std::string nameFromURL(std::string_view url) {
  url = url.substr(0, url.find_first_of("?#"));
  std::string_view authority;
  if (const auto scheme = url.find("://"); scheme != std::string_view::npos) {
    url.remove_prefix(scheme + 3);
    const auto path = std::min(url.find('/'), url.size());
    authority = url.substr(0, path);
    url.remove_prefix(path);
  }
  const auto slash = url.rfind('/');
  const auto file = slash == std::string_view::npos ? url : url.substr(slash + 1);
  if (file.empty()) return std::string(hostOf(authority));
  const std::string decoded = percentDecoded(file);
  return isPrintable(decoded) ? decoded : std::string(file);
}

ItemTexts itemTexts(const TVSPlayer& player) {
  const auto item = player.currentMediaItem();
  if (!item) return {};
  const PlayerItem* const playing = player.currentPlayerItem();
  ItemTexts texts;
  texts.title = textOf(*item, kMediaItemTitle).value_or(playing ? playing->title() : "");
  if (texts.title.empty()) texts.title = nameFromURL(item->url());
  texts.artist = textOf(*item, kMediaItemArtist).value_or("");
  if (!playing) return texts;
  if (texts.artist.empty()) texts.artist = tagOf(*playing, "artist");
  texts.album = tagOf(*playing, "album");
  return texts;
}

bool hasNoVideo(const TVSPlayer& player) {
  const PlayerItem* const playing = player.currentPlayerItem();
  return playing && !playing->tracks().empty() &&
         std::ranges::none_of(playing->tracks(),
                              [](const MediaTrack& track) { return track.mediaType == "video"; });
}

std::string displayTitle(const TVSPlayer& player) {
  const auto item = player.currentMediaItem();
  if (!item) return {};
  const ItemTexts texts = itemTexts(player);
  const bool isMusic = item->metadata(kMediaItemMediaType) == Value(kMediaItemMediaTypeMusic);
  if (texts.artist.empty() || (!isMusic && !hasNoVideo(player))) return texts.title;
  return texts.title.empty() ? texts.artist : texts.title + " – " + texts.artist;
}

}  // namespace platform
