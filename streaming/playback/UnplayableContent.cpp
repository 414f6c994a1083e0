#include "streaming/playback/UnplayableContent.h"

#include <algorithm>
#include <array>

namespace streaming {
namespace {

using namespace std::string_view_literals;

bool beginsWith(std::string_view bytes, std::string_view lowerCase) {
  if (bytes.size() < lowerCase.size()) return false;
  return std::equal(lowerCase.begin(), lowerCase.end(), bytes.begin(), [](char wanted, char given) {
    return wanted == (given >= 'A' && given <= 'Z' ? static_cast<char>(given + 32) : given);
  });
}

bool isPage(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  const auto first = bytes.find_first_not_of(" \t\r\n");
  if (first == bytes.npos) return false;
  bytes.remove_prefix(first);
  return beginsWith(bytes, "<!doctype html") || beginsWith(bytes, "<html") ||
         beginsWith(bytes, "<head") || beginsWith(bytes, "<body");
}

bool isPicture(std::string_view bytes, std::string_view contentType) {
  if (bytes.starts_with("\xFF\xD8\xFF")) return beginsWith(contentType, "image/");
  static constexpr std::array pictures = {
      "\x89PNG\r\n\x1A\n"sv, "GIF87a"sv, "GIF89a"sv, "BM"sv, "II*\0"sv, "MM\0*"sv};
  for (const std::string_view each : pictures) {
    if (!bytes.starts_with(each)) continue;
    // "BM" is short; also check that the reserved fields of a bitmap are 0.
    return each != "BM"sv || (bytes.size() >= 10 && bytes.substr(6, 4) == "\0\0\0\0"sv);
  }
  return bytes.starts_with("RIFF") && bytes.size() >= 12 && bytes.substr(8, 4) == "WEBP";
}

}  // namespace

bool isHTMLOrImage(std::string_view bytes, std::string_view contentType) {
  return isPage(bytes) || isPicture(bytes, contentType);
}

}  // namespace streaming
