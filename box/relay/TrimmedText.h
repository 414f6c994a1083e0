#pragma once

#include <string_view>

namespace box {

/// `text` without blanks, tabs and line breaks at both ends: white space as XML defines it, and
/// more than the optional white space of header fields (RFC 9110), whose values hold no line break.
inline std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r\n";
  const auto begin = text.find_first_not_of(kWhiteSpace);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kWhiteSpace) - begin + 1);
}

}  // namespace box
