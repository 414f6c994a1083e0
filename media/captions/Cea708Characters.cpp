#include "media/captions/Cea708Characters.h"

#include <algorithm>
#include <iterator>

namespace media {
namespace {

struct Extended {
  std::uint8_t code;
  char16_t character;
};

constexpr Extended kExtendedCharacters[]{
    {0x20, u'\u00a0'}, {0x21, u'\u00a0'}, {0x25, u'…'}, {0x2a, u'Š'}, {0x2c, u'Œ'}, {0x30, u'█'},
    {0x31, u'‘'},      {0x32, u'’'},      {0x33, u'“'}, {0x34, u'”'}, {0x35, u'•'}, {0x39, u'™'},
    {0x3a, u'š'},      {0x3c, u'œ'},      {0x3d, u'℠'}, {0x3f, u'Ÿ'}, {0x76, u'⅛'}, {0x77, u'⅜'},
    {0x78, u'⅝'},      {0x79, u'⅞'},      {0x7a, u'│'}, {0x7b, u'┐'}, {0x7c, u'└'}, {0x7d, u'─'},
    {0x7e, u'┘'},      {0x7f, u'┌'}};

}  // namespace

char16_t cea708Character(std::uint8_t code) { return code == 0x7f ? u'♪' : code; }

char16_t cea708ExtendedCharacter(std::uint8_t code) {
  const auto* const found =
      std::find_if(std::begin(kExtendedCharacters), std::end(kExtendedCharacters),
                   [code](const Extended& each) { return each.code == code; });
  return found == std::end(kExtendedCharacters) ? u'_' : found->character;
}

char16_t cea708WideCharacter(char16_t code) {
  const bool isControl = code < 0x20 || (code >= 0x7f && code < 0xa0);
  const bool isSurrogate = code >= 0xd800 && code < 0xe000;
  return isControl || isSurrogate ? u'_' : code;
}

}  // namespace media
