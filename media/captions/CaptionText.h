#pragma once

#include <string>

namespace media {

/// Appends a character that is not a surrogate in UTF-8.
inline void appendCaptionCharacter(std::string& text, char16_t character) {
  const auto byte = [&](unsigned value) { text += static_cast<char>(value); };
  if (character < 0x80) {
    byte(character);
  } else if (character < 0x800) {
    byte(0xc0u | character >> 6);
    byte(0x80u | (character & 0x3fu));
  } else {
    byte(0xe0u | character >> 12);
    byte(0x80u | (character >> 6 & 0x3fu));
    byte(0x80u | (character & 0x3fu));
  }
}

}  // namespace media
