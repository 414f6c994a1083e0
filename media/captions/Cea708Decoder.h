#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "media/captions/Cea708Window.h"
#include "media/output/SubtitleCue.h"

namespace media {

/// Decodes one service of CEA-708 captions (CTA-708): windows with their anchors, rows and
/// justification, and pens with colours, italics and underlines.
///
/// Fills and borders of windows, effects, font faces and sizes are ignored. Lines are always
/// horizontal.
///
/// Each change of what is visible is reported as a cue, also when nothing is visible any more. A
/// cue lasts until the next. It has the texts of all visible windows, from the top to the bottom,
/// at the place of the lowest window.
///
/// Threads: one at a time.
class Cea708Decoder {
 public:
  using CueHandler = std::function<void(SubtitleCue cue)>;

  explicit Cea708Decoder(CueHandler onCue);

  /// Takes a block of the service. A block may end within a command.
  void feed(double seconds, std::span<const std::uint8_t> block);
  /// Interprets the commands whose delay has ended. Call it for each picture.
  void advance(double seconds);
  /// Resets the decoder without reporting a cue. Call it after a seek.
  void restart();

 private:
  static constexpr std::size_t kWindows = 8;

  void _interpret(double seconds);
  void _take(std::span<const std::uint8_t> element, double seconds);
  void _takeControl(std::uint8_t code);
  void _takeWindowCommand(std::span<const std::uint8_t> command, double seconds);
  void _changeWindows(std::uint8_t code, std::uint8_t windows);
  void _defineWindow(std::span<const std::uint8_t> command);
  void _setPenAttributes(std::uint8_t style);
  void _setPenColor(std::span<const std::uint8_t> command);
  void _write(char16_t character);
  void _reset();
  SubtitleCue _visibleCue() const;
  void _emitCue(double seconds);

  const CueHandler _onCue;
  std::array<Cea708Window, kWindows> _windows;
  std::size_t _current = 0;
  std::vector<std::uint8_t> _pending;  // not interpreted yet
  double _delayUntil = 0;              // commands wait until this time
  bool _isDelayed = false;
  SubtitleCue _last;  // without its time
};

}  // namespace media
