#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Small functions on the texts of manifests and HTTP.
namespace streaming {

inline bool isOneOf(char c, std::string_view characters) {
  return characters.find(c) != characters.npos;
}
bool isLetter(char c);
bool isAlphanumeric(char c);
bool isControl(char c);

/// Without blanks, tabs and line breaks at both ends.
std::string_view trimmed(std::string_view text);
std::string lowercase(std::string_view text);
/// Without regard to case.
bool isSameName(std::string_view a, std::string_view b);
/// Decimal digits and nothing else.
std::optional<std::uint64_t> numberOf(std::string_view text);
/// Base64 of either alphabet, padded or not. White space is skipped.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace streaming
