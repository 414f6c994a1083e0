#include "media/texts/TextFormats.h"

#include <array>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include <glib.h>
#include <uchardet.h>

#include "media/output/SubtitleColor.h"
#include "media/texts/TTMLText.h"
#include "media/texts/WebVTTText.h"
#include "media/texts/ass/AssRenderer.h"
#include "platform/foundation/Utf8.h"

namespace media {
namespace {

/// Detection needs only a part of the text.
constexpr std::size_t kDetectedBytes = std::size_t{64} << 10;

/// Converts a text. Invalid units of `unit` bytes become replacement characters. Returns an empty
/// string if the encoding is unknown.
std::string converted(std::string_view bytes, const char* from, std::size_t unit = 1) {
  const auto close = [](GIConv converter) { g_iconv_close(converter); };
  const GIConv converter = g_iconv_open("UTF-8", from);
  if (reinterpret_cast<std::intptr_t>(converter) == -1) return {};
  const std::unique_ptr<std::remove_pointer_t<GIConv>, decltype(close)> owner(converter, close);
  std::string result;
  auto* in = const_cast<gchar*>(bytes.data());
  gsize left = bytes.size();
  while (left > 0) {
    char part[4096];
    gchar* out = part;
    gsize room = sizeof part;
    const gsize before = left;
    const bool failed = g_iconv(converter, &in, &left, &out, &room) == static_cast<gsize>(-1);
    result.append(part, sizeof part - room);
    const bool isStuck = failed && left > 0 && (left == before || room > sizeof part / 2);
    if (!isStuck) continue;
    result += "\ufffd";
    const gsize skipped = std::min<gsize>(unit, left);
    in += skipped;
    left -= skipped;
  }
  return result;
}

std::string detectedEncoding(std::string_view bytes) {
  const std::unique_ptr<std::remove_pointer_t<uchardet_t>, void (*)(uchardet_t)> detector(
      uchardet_new(), uchardet_delete);
  const std::string_view part = bytes.substr(0, kDetectedBytes);
  if (uchardet_handle_data(detector.get(), part.data(), part.size()) != 0) return {};
  uchardet_data_end(detector.get());
  return uchardet_get_charset(detector.get());
}

struct ByteOrderMark {
  std::string_view bytes;
  const char* encoding;
  std::size_t unit;
};
/// The mark of UTF-32 begins with that of UTF-16.
constexpr std::array<ByteOrderMark, 4> kByteOrderMarks{
    {{std::string_view("\xff\xfe\0\0", 4), "UTF-32LE", 4},
     {std::string_view("\0\0\xfe\xff", 4), "UTF-32BE", 4},
     {"\xff\xfe", "UTF-16LE", 2},
     {"\xfe\xff", "UTF-16BE", 2}}};

std::string decodedText(std::string_view bytes) {
  for (const auto& [mark, encoding, unit] : kByteOrderMarks)
    if (bytes.starts_with(mark)) {
      const std::string_view rest = bytes.substr(mark.size());
      return converted(rest.substr(0, rest.size() / unit * unit), encoding, unit);
    }
  const std::string encoding = detectedEncoding(bytes);
  const bool isKnown = !encoding.empty() && encoding != "ASCII";
  std::string text = isKnown ? converted(bytes, encoding.c_str()) : std::string();
  return text.empty() ? converted(bytes, "WINDOWS-1252") : text;
}

}  // namespace

std::string utf8Of(std::string_view bytes) {
  // The length is always passed to g_utf8_validate(), so that a NUL is invalid.
  if (g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr))
    return std::string(bytes);
  std::string text = decodedText(bytes);
  std::erase(text, '\0');
  // iconv() accepts UTF-8 of characters above U+10FFFF.
  return platform::isValidText(text) ? text : platform::replacingInvalidText(text);
}

std::optional<TextContent> contentOfText(std::string_view bytes) {
  constexpr std::size_t kExaminedBytes = 4096;
  std::string text = utf8Of(bytes);
  if (isWebVTT(text)) return TextContent{.cues = WebVTTReader().read(text), .ass = {}};
  if (isTTML(text)) return TextContent{.cues = cuesOfTTML(text), .ass = {}};
  if (isAss(text)) return TextContent{.cues = {}, .ass = std::move(text)};
  const std::string_view beginning = std::string_view(text).substr(0, kExaminedBytes);
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
