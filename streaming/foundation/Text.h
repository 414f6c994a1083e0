#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// String functions for manifests and HTTP.
namespace streaming {

inline bool isOneOf(char c, std::string_view characters) {
  return characters.find(c) != characters.npos;
}
bool isLetter(char c);
bool isAlphanumeric(char c);
bool isControl(char c);

/// Removes white space at both ends.
std::string_view trimmed(std::string_view text);
std::string lowercase(std::string_view text);
/// Compares ASCII strings without case.
bool isSameName(std::string_view a, std::string_view b);
/// Parses a decimal integer. nullopt if `text` contains anything else.
std::optional<std::uint64_t> numberOf(std::string_view text);
/// Decodes Base64 and Base64url, with or without padding. White space is skipped.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace streaming
