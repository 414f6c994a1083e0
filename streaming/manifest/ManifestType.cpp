#include <algorithm>

#include "streaming/manifest/ManifestReader.h"

namespace streaming {
namespace {

constexpr std::string_view kHLSBeginning = "#EXTM3U";

bool isBeginningOf(std::string_view bytes, std::string_view whole) {
  return bytes.size() < whole.size() && whole.starts_with(bytes);
}

/// The local name of the first element. Empty: more bytes are needed. nullopt: not XML.
std::optional<std::string_view> firstElement(std::string_view text) {
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.empty() || text == "<") return std::string_view();
    if (!text.starts_with('<')) return std::nullopt;
    std::string_view end;
    if (text.starts_with("<?"))
      end = "?>";
    else if (text.starts_with("<!--"))
      end = "-->";
    else if (text.starts_with("<!"))
      end = ">";
    if (end.empty()) break;
    const auto at = text.find(end);
    if (at == text.npos) return std::string_view();
    text.remove_prefix(at + end.size());
  }
  text.remove_prefix(1);
  const auto end = text.find_first_of(" \t\r\n/>");
  if (end == text.npos) return std::string_view();
  text = text.substr(0, end);
  const auto colon = text.find(':');
  return colon == text.npos ? text : text.substr(colon + 1);
}

}  // namespace

std::optional<ManifestType> detectManifestType(std::string_view bytes, bool isWhole) {
  const bool isLast = isWhole || bytes.size() >= kManifestSniffBytes;
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t\r\n"), bytes.size()));
  while (bytes.starts_with('#') && !bytes.starts_with("#EXT") && !isBeginningOf(bytes, "#EXT")) {
    const auto end = bytes.find('\n');
    if (end == bytes.npos && !isLast) return std::nullopt;
    bytes.remove_prefix(std::min(end, bytes.size()));
    bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t\r\n"), bytes.size()));
  }
  if (bytes.starts_with(kHLSBeginning)) return ManifestType::HLS;
  if (!isLast && (bytes.empty() || isBeginningOf(bytes, kHLSBeginning))) return std::nullopt;
  if (!bytes.starts_with('<')) return ManifestType::None;
  const auto name = firstElement(bytes);
  if (name == "MPD" || name == "Patch") return ManifestType::DASH;
  if (name && name->empty() && !isLast) return std::nullopt;
  return ManifestType::None;
}

}  // namespace streaming
