#include "media/captions/Cea608Decoder.h"

#include <algorithm>
#include <bit>
#include <string_view>
#include <utility>

#include "media/captions/CaptionText.h"

namespace media {
namespace {

constexpr char16_t kTransparentSpace = u'\u00a0';
constexpr char16_t kBlock = u'\u2588';

constexpr std::u16string_view kSpecial = u"®°½¿™¢£♪à\u00a0èâêîôû";
constexpr std::u16string_view kSpanishAndFrench = u"ÁÉÓÚÜü‘¡*’—©℠•“”ÀÂÇÈÊËëÎÏïÔÙùÛ«»";
constexpr std::u16string_view kPortugueseAndGerman = u"ÃãÍÌìÒòÕõ{}\\^_|~ÄäÖöß¥¤¦ÅåØø┌┐└┘";
static_assert(kSpecial.size() == 16 && kSpanishAndFrench.size() == 32 &&
              kPortugueseAndGerman.size() == 32);

char16_t basicCharacter(std::uint8_t code) {
  switch (code) {
    case 0x27:
      return u'’';
    case 0x2a:
      return u'á';
    case 0x5c:
      return u'é';
    case 0x5e:
      return u'í';
    case 0x5f:
      return u'ó';
    case 0x60:
      return u'ú';
    case 0x7b:
      return u'ç';
    case 0x7c:
      return u'÷';
    case 0x7d:
      return u'Ñ';
    case 0x7e:
      return u'ñ';
    case 0x7f:
      return kBlock;
    default:
      return code;
  }
}

/// Removes the parity bit. A byte with a parity error becomes a solid block. Zero bytes are
/// padding.
std::uint8_t withoutParity(std::uint8_t byte) {
  if (byte == 0) return 0;
  return std::popcount(byte) % 2 == 1 ? static_cast<std::uint8_t>(byte & 0x7f) : std::uint8_t{0x7f};
}

/// Returns the row of a preamble address code, counted from 0.
std::size_t rowOf(std::uint8_t first, std::uint8_t second) {
  static constexpr std::array<std::uint8_t, 8> rows{10, 0, 2, 11, 13, 4, 6, 8};
  const std::size_t row = rows[first & 7];
  return (second & 0x20) != 0 && first != 0x10 ? row + 1 : row;
}

}  // namespace

Cea608Decoder::Cea608Decoder(CueHandler onCue, Channel channel)
    : _onCue(std::move(onCue)), _channel(channel) {}

void Cea608Decoder::restart() {
  _current = Channel::First;
  _mode = Mode::None;
  _displayed = {};
  _hidden = {};
  _control = 0;
  _lastText.clear();
}

void Cea608Decoder::feed(double seconds, std::uint8_t first, std::uint8_t second) {
  first = withoutParity(first);
  second = withoutParity(second);
  const int control = first >= 0x10 && first < 0x20 ? first << 8 | second : 0;
  // Control codes are sent twice: the second of two equal codes is ignored, a third is not.
  if (control != 0 && std::exchange(_control, control) == control) {
    _control = 0;
    return;
  }
  if (control != 0) {
    _current = (first & 0x08) != 0 ? Channel::Second : Channel::First;
    if (_current == _channel) _takeControl(first & 0x17, second);
  } else {
    _control = 0;
    if (_current != _channel || first < 0x20) return;
    _write(basicCharacter(first));
    if (second >= 0x20) _write(basicCharacter(second));
  }
  _emitCue(seconds);
}

void Cea608Decoder::_takeControl(std::uint8_t first, std::uint8_t second) {
  if (second >= 0x40) {
    const bool indents = (second & 0x10) != 0;
    _moveTo(rowOf(first, second), indents ? (second & 0x0eu) * 2u : 0u);
  } else if (second < 0x20) {
    return;
  } else if (first == 0x11) {
    // Mid-row codes (second < 0x30) take the cell of a space. Their pen styles are ignored.
    _write(second >= 0x30 ? kSpecial[second - 0x30u] : u' ');
  } else if (first == 0x12 || first == 0x13) {
    // An extended character replaces the standard character sent before it for old decoders.
    _backspace();
    _write((first == 0x12 ? kSpanishAndFrench : kPortugueseAndGerman)[second - 0x20u]);
  } else if (first == 0x14 || first == 0x15) {
    _takeCommand(second);
  } else if (first == 0x17 && second >= 0x21 && second <= 0x23) {
    _column = std::min(_column + (second & 3u), kColumns - 1);
  }
}

void Cea608Decoder::_takeCommand(std::uint8_t code) {
  switch (code) {
    case 0x20:
      _mode = Mode::PopOn;
      break;
    case 0x21:
      _backspace();
      break;
    case 0x24:  // delete to end of row
      std::fill(_page()[_row].begin() + static_cast<std::ptrdiff_t>(_column), _page()[_row].end(),
                u'\0');
      break;
    case 0x25:
    case 0x26:
    case 0x27:
      _beginRollUp(code - 0x23u);
      break;
    case 0x29:
      _mode = Mode::PaintOn;
      break;
    case 0x2a:
    case 0x2b:  // text restart, resume text display: text mode
      _mode = Mode::None;
      break;
    case 0x2c:
      _displayed = {};
      break;
    case 0x2d:
      if (_mode == Mode::RollUp) _carriageReturn();
      break;
    case 0x2e:
      _hidden = {};
      break;
    case 0x2f:
      std::swap(_displayed, _hidden);
      _mode = Mode::PopOn;
      break;
    default:
      break;
  }
}

void Cea608Decoder::_beginRollUp(std::size_t height) {
  if (std::exchange(_mode, Mode::RollUp) != Mode::RollUp) {
    _displayed = {};
    _hidden = {};
    _row = kRows - 1;
    _column = 0;
  }
  _height = height;
  for (std::size_t row = 0; row + _height <= _row; ++row) _displayed[row] = {};
}

void Cea608Decoder::_moveTo(std::size_t row, std::size_t column) {
  if (_mode == Mode::RollUp) {
    // The base row moves with all of its roll-up rows, and they have to fit on the screen.
    row = std::max(row, _height - 1);
    if (row != _row) {
      Page moved{};
      for (std::size_t up = 0; up < _height && up <= _row; ++up)
        moved[row - up] = _displayed[_row - up];
      _displayed = moved;
    }
  }
  _row = row;
  _column = column;
}

void Cea608Decoder::_carriageReturn() {
  const std::size_t top = _row + 1 - std::min(_height, _row + 1);
  for (std::size_t row = top; row < _row; ++row) _displayed[row] = _displayed[row + 1];
  _displayed[_row] = {};
  _column = 0;
}

void Cea608Decoder::_write(char16_t character) {
  if (_mode == Mode::None) return;
  _page()[_row][_column] = character;
  if (_column + 1 < kColumns) ++_column;
}

void Cea608Decoder::_backspace() {
  if (_mode == Mode::None || _column == 0) return;
  _page()[_row][--_column] = u'\0';
}

void Cea608Decoder::_emitCue(double seconds) {
  std::string text = _textOf(_displayed);
  if (text == _lastText) return;
  _lastText = std::move(text);
  _onCue({seconds, SubtitleCue::kUntilNext, _lastText});
}

std::string Cea608Decoder::_textOf(const Page& page) const {
  std::string text;
  for (const Row& row : page) {
    const auto isVisible = [](char16_t each) {
      return each != u'\0' && each != u' ' && each != kTransparentSpace;
    };
    const auto begin = std::find_if(row.begin(), row.end(), isVisible);
    const auto end = std::find_if(row.rbegin(), row.rend(), isVisible).base();
    if (begin == row.end()) continue;
    if (!text.empty()) text += '\n';
    for (auto each = begin; each != end; ++each)
      appendCaptionCharacter(text, *each != u'\0' ? *each : u' ');
  }
  return text;
}

}  // namespace media
