#include "media/metadata/ID3Tag.h"

#include <algorithm>
#include <string>

#include <glib.h>

#include "media/support/GstRef.h"
#include "platform/foundation/Value.h"
#include "platform/media/TimedMetadataItem.h"

namespace media {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderSize = 10;  // of the tag, and of each frame
constexpr std::uint8_t kExtendedHeader = 0x40;
// Compressed, encrypted, unsynchronised, or with a data length.
constexpr std::uint8_t kEncodedFrame = 0x0f;

std::size_t number(Bytes bytes, unsigned bits) {
  std::size_t result = 0;
  for (const std::uint8_t each : bytes.first(4)) result = result << bits | each;
  return result;
}

/// Returns the length of the text in `bytes` without its terminator.
std::size_t lengthOfText(Bytes bytes, std::uint8_t encoding) {
  const std::size_t unit = encoding == 1 || encoding == 2 ? 2 : 1;
  for (std::size_t at = 0; at + unit <= bytes.size(); at += unit)
    if (bytes[at] == 0 && bytes[at + unit - 1] == 0) return at;
  return bytes.size();
}

std::string decoded(Bytes bytes, std::uint8_t encoding) {
  constexpr const char* kCharsets[] = {"ISO-8859-1", "UTF-16", "UTF-16BE", "UTF-8"};
  if (encoding >= std::size(kCharsets)) return {};
  const GstRef<gchar> text(g_convert_with_fallback(
      reinterpret_cast<const gchar*>(bytes.data()), static_cast<gssize>(bytes.size()), "UTF-8",
      kCharsets[encoding], nullptr, nullptr, nullptr, nullptr));
  return text ? text.get() : "";
}

platform::Value dataOf(Bytes bytes) {
  const auto data = std::as_bytes(bytes);
  return {platform::Bytes(data.begin(), data.end())};
}

platform::TimedMetadataItem itemOf(const std::string& name, Bytes content) {
  platform::TimedMetadataItem item;
  item.key = name;
  item.keySpace = std::string(kKeySpaceID3);
  const auto rest = [&](std::size_t from) {
    return content.subspan(std::min(from, content.size()));
  };
  const auto setInfo = [&](std::string text) {
    if (!text.empty()) item.extraAttributes.set(std::string(kMetadataInfo), std::move(text));
  };
  if (name.front() == 'T' && !content.empty()) {
    const std::uint8_t encoding = content[0];
    const std::size_t terminator = encoding == 1 || encoding == 2 ? 2 : 1;
    Bytes text = rest(1);
    if (name == "TXXX") {
      const std::size_t length = lengthOfText(text, encoding);
      setInfo(decoded(text.first(length), encoding));
      text = text.subspan(std::min(length + terminator, text.size()));
    }
    item.value = decoded(text.first(lengthOfText(text, encoding)), encoding);
  } else if (name.front() == 'W' && name != "WXXX") {
    item.value = decoded(content.first(lengthOfText(content, 0)), 0);
  } else if (name == "PRIV") {
    const std::size_t length = lengthOfText(content, 0);
    setInfo(decoded(content.first(length), 0));
    item.value = dataOf(rest(length + 1));
  } else {
    item.value = dataOf(content);
  }
  return item;
}

}  // namespace

MetadataTimeline::Items itemsOfID3Tag(Bytes bytes) {
  MetadataTimeline::Items items;
  if (bytes.size() < kHeaderSize || bytes[0] != 'I' || bytes[1] != 'D' || bytes[2] != '3')
    return items;
  const std::uint8_t version = bytes[3];
  if (version != 3 && version != 4) return items;
  const std::size_t size = number(bytes.subspan(6), 7);
  const bool isExtended = (bytes[5] & kExtendedHeader) != 0;
  bytes = bytes.subspan(kHeaderSize);
  bytes = bytes.first(std::min(size, bytes.size()));
  if (isExtended && bytes.size() >= 4) {
    const std::size_t extension = version == 4 ? number(bytes, 7) : number(bytes, 8) + 4;
    bytes = bytes.subspan(std::min(extension, bytes.size()));
  }
  while (bytes.size() > kHeaderSize) {
    const std::string name(bytes.begin(), bytes.begin() + 4);
    const bool isName = std::all_of(name.begin(), name.end(), [](char each) {
      return (each >= 'A' && each <= 'Z') || (each >= '0' && each <= '9');
    });
    const std::size_t length = number(bytes.subspan(4), version == 4 ? 7 : 8);
    if (!isName || length > bytes.size() - kHeaderSize) break;
    const bool isEncoded = version == 4 ? (bytes[9] & kEncodedFrame) != 0 : bytes[9] != 0;
    if (!isEncoded) items.push_back(itemOf(name, bytes.subspan(kHeaderSize, length)));
    bytes = bytes.subspan(kHeaderSize + length);
  }
  return items;
}

}  // namespace media
