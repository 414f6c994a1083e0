#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "media/output/SubtitleCues.h"

namespace media {

/// Reads captions as they lie in the lines of one field of a picture: pairs of bytes, with parity,
/// one pair for each picture or field. Knows pop-on, roll-up and paint-on captions and all
/// characters; colours, styles and the text service are passed over.
///
/// A cue is told whenever other words are to be seen, also none, and holds until the next.
///
/// Threads: one at a time.
class Cea608Decoder {
 public:
  /// Of the two of a field: CC1 or CC2 in the first, CC3 or CC4 in the second.
  enum class Channel { First, Second };
  using Shown = std::function<void(SubtitleCue cue)>;

  explicit Cea608Decoder(Shown shown, Channel channel = Channel::First);
  void feed(double seconds, std::uint8_t first, std::uint8_t second);
  /// Forgets everything, and says nothing: what follows is from elsewhere.
  void restart();

 private:
  static constexpr std::size_t kRows = 15;
  static constexpr std::size_t kColumns = 32;
  using Row = std::array<char16_t, kColumns>;  // 0: nothing
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
  void _tell(double seconds);
  std::string _textOf(const Page& page) const;

  const Shown _shown;
  const Channel _channel;
  Channel _current = Channel::First;
  Mode _mode = Mode::None;
  Page _displayed{};
  Page _hidden{};
  std::size_t _row = kRows - 1;
  std::size_t _column = 0;
  std::size_t _height = 0;  // rolling rows
  int _control = 0;         // the last pair, if it was one: each comes twice
  std::string _text;        // told last
};

}  // namespace media
