#pragma once

#include <cstdint>

namespace media {

/// Returns the character of a code of G0 or G1 of CTA-708 (0x20 to 0x7f, 0xa0 to 0xff).
char16_t cea708Character(std::uint8_t code);

/// Returns the character of an extended code, of G2 or G3. Unknown codes are underscores, as the
/// standard says.
char16_t cea708ExtendedCharacter(std::uint8_t code);

/// Returns the character of a code of two bytes, which is that of UTF-16. Controls and surrogates
/// are underscores.
char16_t cea708WideCharacter(char16_t code);

}  // namespace media
