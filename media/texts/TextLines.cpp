#include "media/texts/TextLines.h"

namespace media {

std::string_view withoutByteOrderMark(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return text;
}

std::string normalizedLines(std::string_view text) {
  text = withoutByteOrderMark(text);
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\r')
      plain += text[at];
    else if (at + 1 == text.size() || text[at + 1] != '\n')
      plain += '\n';
  }
  return plain;
}

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

}  // namespace media
