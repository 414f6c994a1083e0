#include "media/texts/TextFormats.h"

#include <utility>

#include <glib.h>

#include "media/output/SubtitleColor.h"
#include "media/texts/AssRenderer.h"
#include "media/texts/TTMLText.h"
#include "media/texts/WebVTTText.h"

namespace media {
namespace {

std::string converted(std::string_view bytes, const char* from) {
  gsize size = 0;
  gchar* text = g_convert_with_fallback(bytes.data(), static_cast<gssize>(bytes.size()), "UTF-8",
                                        from, "?", nullptr, &size, nullptr);
  std::string result = text ? std::string(text, size) : std::string();
  g_free(text);
  return result;
}

}  // namespace

std::string utf8Of(std::string_view bytes) {
  if (bytes.starts_with("\xff\xfe") || bytes.starts_with("\xfe\xff")) {
    const char* form = bytes[0] == '\xff' ? "UTF-16LE" : "UTF-16BE";
    return converted(bytes.substr(2, (bytes.size() - 2) / 2 * 2), form);
  }
  if (g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr))
    return std::string(bytes);
  return converted(bytes, "WINDOWS-1252");
}

std::optional<TextContent> contentOfText(std::string_view bytes) {
  constexpr std::size_t kEnough = 4096;
  std::string text = utf8Of(bytes);
  if (isWebVTT(text)) return TextContent{.cues = WebVTTReader().read(text), .ass = {}};
  if (isTTML(text)) return TextContent{.cues = cuesOfTTML(text), .ass = {}};
  if (isAss(text)) return TextContent{.cues = {}, .ass = std::move(text)};
  const std::string_view beginning = std::string_view(text).substr(0, kEnough);
  if (!trimmed(beginning).starts_with('<') && beginning.find("-->") != std::string_view::npos)
    return TextContent{.cues = cuesOfSubRip(text), .ass = {}};
  return std::nullopt;
}

std::optional<std::vector<SubtitleCue>> cuesOfText(std::string_view bytes) {
  auto content = contentOfText(bytes);
  if (!content) return std::nullopt;
  return std::move(content->cues);
}

}  // namespace media
