#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "media/output/SubtitleCues.h"

namespace media {

/// Decodes CEA-608 captions of one channel of a field: byte pairs with parity, one pair for each
/// frame or field. Supports pop-on, roll-up and paint-on captions and all character sets. Colours,
/// pen styles and text mode are ignored.
///
/// Each change of the displayed text is reported as a cue, also when the screen is cleared. A cue
/// lasts until the next.
///
/// Threads: one at a time.
class Cea608Decoder {
 public:
  /// The first field has CC1 and CC2, the second field CC3 and CC4.
  enum class Channel { First, Second };
  using CueHandler = std::function<void(SubtitleCue cue)>;

  explicit Cea608Decoder(CueHandler onCue, Channel channel = Channel::First);
  void feed(double seconds, std::uint8_t first, std::uint8_t second);
  /// Resets the decoder without reporting a cue. Call it after a seek.
  void restart();

 private:
  static constexpr std::size_t kRows = 15;
  static constexpr std::size_t kColumns = 32;
  using Row = std::array<char16_t, kColumns>;  // 0: an empty cell
  using Page = std::array<Row, kRows>;
  enum class Mode { None, PopOn, RollUp, PaintOn };

  Page& _page() { return _mode == Mode::PopOn ? _hidden : _displayed; }
  void _takeControl(std::uint8_t first, std::uint8_t second);
  void _takeCommand(std::uint8_t code);
  void _beginRollUp(std::size_t height);
  void _moveTo(std::size_t row, std::size_t column);
  void _carriageReturn();
  void _write(char16_t character);
  void _backspace();
  void _emitCue(double seconds);
  std::string _textOf(const Page& page) const;

  const CueHandler _onCue;
  const Channel _channel;
  Channel _current = Channel::First;
  Mode _mode = Mode::None;
  Page _displayed{};
  Page _hidden{};
  std::size_t _row = kRows - 1;
  std::size_t _column = 0;
  std::size_t _height = 0;  // roll-up rows
  int _control = 0;  // the last pair if it was a control code, else 0: control codes are sent twice
  std::string _lastText;
};

}  // namespace media
