#include "media/captions/Cea708Decoder.h"

#include <algorithm>
#include <utility>

#include "media/captions/Cea708Characters.h"

namespace media {
namespace {

using Bytes = std::span<const std::uint8_t>;

/// The input buffer of a service. A delay ends when it is full.
constexpr std::size_t kServiceBytes = 128;

constexpr std::uint8_t kExtension = 0x10;
constexpr std::uint8_t kCharacter16 = 0x18;
constexpr std::uint8_t kFirstWindow = 0x80;
constexpr std::uint8_t kClear = 0x88;
constexpr std::uint8_t kDisplay = 0x89;
constexpr std::uint8_t kHide = 0x8a;
constexpr std::uint8_t kToggle = 0x8b;
constexpr std::uint8_t kDelete = 0x8c;
constexpr std::uint8_t kDelay = 0x8d;
constexpr std::uint8_t kCancelDelay = 0x8e;
constexpr std::uint8_t kReset = 0x8f;
constexpr std::uint8_t kPenAttributes = 0x90;
constexpr std::uint8_t kPenColor = 0x91;
constexpr std::uint8_t kPenLocation = 0x92;
constexpr std::uint8_t kWindowAttributes = 0x97;
constexpr std::uint8_t kFirstDefinition = 0x98;

bool isCharacter(std::uint8_t code) { return (code >= 0x20 && code < 0x80) || code >= 0xa0; }

/// Returns the bytes of an extended code. Those that are reserved for later versions have more.
std::size_t sizeOfExtension(Bytes bytes) {
  if (bytes.size() < 2) return 2;
  const std::uint8_t code = bytes[1];
  if (code < 0x20) return 2u + code / 8;
  if (isCharacter(code)) return 2;
  if (code < 0x88) return 6;
  if (code < 0x90) return 7;
  return bytes.size() < 3 ? 3 : 3u + (bytes[2] & 0x1fu);
}

std::size_t sizeOfCommand(std::uint8_t code) {
  if (code < 0x10) return 1;
  if (code < 0x18) return 2;
  if (code < 0x20) return 3;
  if (code >= kFirstDefinition) return 7;
  switch (code) {
    case kClear:
    case kDisplay:
    case kHide:
    case kToggle:
    case kDelete:
    case kDelay:
      return 2;
    case kPenAttributes:
    case kPenLocation:
      return 3;
    case kPenColor:
      return 4;
    case kWindowAttributes:
      return 5;
    default:
      return 1;
  }
}

/// Returns the first character or command. It is empty if more bytes are needed.
Bytes elementOf(Bytes bytes) {
  if (bytes.empty()) return {};
  const std::uint8_t code = bytes[0];
  const std::size_t size = isCharacter(code)    ? 1
                           : code == kExtension ? sizeOfExtension(bytes)
                                                : sizeOfCommand(code);
  return size <= bytes.size() ? bytes.first(size) : Bytes();
}

/// Whether the bytes have a command that ends a delay at once.
bool endDelay(Bytes bytes) {
  for (Bytes element = elementOf(bytes); !element.empty(); element = elementOf(bytes)) {
    if (element[0] == kCancelDelay || element[0] == kReset) return true;
    bytes = bytes.subspan(element.size());
  }
  return false;
}

/// Reads two bits of opacity and two bits for each channel.
platform::Color colorOf(std::uint8_t bits) {
  constexpr std::array<float, 4> kOpacities{1, 1, 0.5F, 0};  // solid, flashing, translucent, none
  const auto channel = [bits](int shift) { return static_cast<float>(bits >> shift & 3) / 3; };
  return {channel(4), channel(2), channel(0), kOpacities[bits >> 6]};
}

void append(SubtitleCue& cue, SubtitleCue more) {
  if (!cue.text.empty()) cue.text += '\n';
  for (SubtitleSpan& span : more.spans) {
    span.begin += cue.text.size();
    span.end += cue.text.size();
    cue.spans.push_back(std::move(span));
  }
  cue.text += more.text;
  cue.layout = more.layout;
}

}  // namespace

Cea708Decoder::Cea708Decoder(CueHandler onCue) : _onCue(std::move(onCue)) {}

void Cea708Decoder::restart() {
  _reset();
  _pending.clear();
  _last = {};
}

void Cea708Decoder::_reset() {
  _windows = {};
  _current = 0;
  _isDelayed = false;
}

void Cea708Decoder::feed(double seconds, Bytes block) {
  _pending.insert(_pending.end(), block.begin(), block.end());
  if (_pending.size() >= kServiceBytes || endDelay(_pending)) _isDelayed = false;
  _interpret(seconds);
}

void Cea708Decoder::advance(double seconds) {
  if (_isDelayed) _interpret(seconds);
}

void Cea708Decoder::_interpret(double seconds) {
  if (seconds >= _delayUntil) _isDelayed = false;
  Bytes rest = _pending;
  while (!_isDelayed) {
    const Bytes element = elementOf(rest);
    if (element.empty()) break;
    rest = rest.subspan(element.size());
    _take(element, seconds);
    // A command after the delay may end it.
    if (_isDelayed && endDelay(rest)) _isDelayed = false;
  }
  _pending.erase(_pending.begin(), _pending.end() - static_cast<std::ptrdiff_t>(rest.size()));
  _emitCue(seconds);
}

void Cea708Decoder::_take(Bytes element, double seconds) {
  const std::uint8_t code = element[0];
  if (isCharacter(code)) {
    _write(cea708Character(code));
  } else if (code == kExtension) {
    if (isCharacter(element[1])) _write(cea708ExtendedCharacter(element[1]));
  } else if (code == kCharacter16) {
    _write(cea708WideCharacter(static_cast<char16_t>(element[1] << 8 | element[2])));
  } else if (code < 0x20) {
    _takeControl(code);
  } else {
    _takeWindowCommand(element, seconds);
  }
}

void Cea708Decoder::_takeControl(std::uint8_t code) {
  Cea708Window& window = _windows[_current];
  if (code == 0x08) window.backspace();
  if (code == 0x0c) window.clear();
  if (code == 0x0d) window.carriageReturn();
  if (code == 0x0e) window.restartRow();
}

void Cea708Decoder::_takeWindowCommand(Bytes command, double seconds) {
  const std::uint8_t code = command[0];
  Cea708Window& window = _windows[_current];
  if (code < kClear) {
    _current = code - kFirstWindow;
  } else if (code <= kDelete) {
    _changeWindows(code, command[1]);
  } else if (code == kDelay) {
    constexpr double kTenth = 0.1;
    _isDelayed = true;
    _delayUntil = seconds + kTenth * command[1];
  } else if (code == kReset) {
    _reset();
  } else if (code == kPenAttributes) {
    _setPenAttributes(command[2]);
  } else if (code == kPenColor) {
    _setPenColor(command);
  } else if (code == kPenLocation) {
    window.moveTo(command[1] & 0x0fu, command[2] & 0x3fu);
  } else if (code == kWindowAttributes) {
    window.setJustification(static_cast<Cea708Window::Justification>(command[3] & 3));
  } else if (code >= kFirstDefinition) {
    _defineWindow(command);
  }
}

/// `windows` has a bit for each window.
void Cea708Decoder::_changeWindows(std::uint8_t code, std::uint8_t windows) {
  for (std::size_t index = 0; index < kWindows; ++index) {
    if ((windows >> index & 1) == 0) continue;
    Cea708Window& window = _windows[index];
    if (code == kClear) window.clear();
    if (code == kDisplay) window.setVisible(true);
    if (code == kHide) window.setVisible(false);
    if (code == kToggle) window.setVisible(!window.isVisible());
    if (code == kDelete) window = {};
  }
}

void Cea708Decoder::_defineWindow(Bytes command) {
  // The grid of anchors is that of pictures of 16:9.
  constexpr double kRelative = 99;
  constexpr double kRows = 74;
  constexpr double kColumns = 209;
  constexpr int kAnchors = 9;
  _current = command[0] - kFirstDefinition;
  const bool isRelative = (command[2] & 0x80) != 0;
  Cea708Window::Definition definition;
  definition.isVisible = (command[1] & 0x20) != 0;
  definition.y = std::min(1.0, (command[2] & 0x7f) / (isRelative ? kRelative : kRows));
  definition.x = std::min(1.0, command[3] / (isRelative ? kRelative : kColumns));
  definition.anchor = std::min(command[4] >> 4, kAnchors - 1);
  definition.rows = (command[4] & 0x0fu) + 1;
  definition.columns = (command[5] & 0x3fu) + 1;
  Cea708Window& window = _windows[_current];
  const bool isNew = !window.isDefined();
  window.define(definition);
  // Styles with numbers are left to the screen.
  const int style = command[6] >> 3 & 7;
  constexpr int kFirstCentered = 3;
  if (isNew || style > 0)
    window.setJustification(style % kFirstCentered == 0 && style > 0
                                ? Cea708Window::Justification::Center
                                : Cea708Window::Justification::Left);
  if (isNew || (command[6] & 7) > 0) window.setPen({});
}

void Cea708Decoder::_setPenAttributes(std::uint8_t style) {
  Cea708Pen pen = _windows[_current].pen();
  pen.italic = (style & 0x80) != 0;
  pen.underline = (style & 0x40) != 0;
  _windows[_current].setPen(pen);
}

void Cea708Decoder::_setPenColor(Bytes command) {
  Cea708Pen pen = _windows[_current].pen();
  pen.color = colorOf(command[1]);
  pen.background = colorOf(command[2]);
  if (pen.color == platform::kWhite) pen.color.reset();
  if (pen.background->alpha == 0) pen.background.reset();
  _windows[_current].setPen(pen);
}

void Cea708Decoder::_write(char16_t character) {
  Cea708Window& window = _windows[_current];
  const auto& color = window.pen().color;
  const bool isTransparent = color && color->alpha == 0;
  window.write(isTransparent ? u'\u00a0' : character);
}

SubtitleCue Cea708Decoder::_visibleCue() const {
  std::vector<SubtitleCue> cues;
  for (const Cea708Window& window : _windows)
    if (SubtitleCue cue = window.cue(); !cue.text.empty()) cues.push_back(std::move(cue));
  std::stable_sort(cues.begin(), cues.end(), [](const SubtitleCue& one, const SubtitleCue& other) {
    return one.layout.y < other.layout.y;
  });
  SubtitleCue all;
  for (SubtitleCue& each : cues) append(all, std::move(each));
  return all;
}

void Cea708Decoder::_emitCue(double seconds) {
  SubtitleCue cue = _visibleCue();
  if (cue == _last) return;
  _last = cue;
  cue.start = seconds;
  _onCue(std::move(cue));
}

}  // namespace media
