#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// The pen of a window of CEA-708 captions.
struct Cea708Pen {
  std::optional<platform::Color> color;       ///< unset: the screen's default
  std::optional<platform::Color> background;  ///< unset: none
  bool italic = false;
  bool underline = false;
  friend bool operator==(const Cea708Pen&, const Cea708Pen&) = default;
};

/// A window of CEA-708 captions: a grid of characters that is anchored in the picture.
///
/// Text runs from left to right, and lines follow each other downwards, whatever the attributes of
/// the window say.
class Cea708Window {
 public:
  static constexpr std::size_t kMaxRows = 16;
  static constexpr std::size_t kMaxColumns = 64;

  enum class Justification { Left, Right, Center, Full };

  /// What the command that defines a window sets.
  struct Definition {
    bool isVisible = false;
    /// The anchor as fractions of the safe area, and which point of the window is there: 0 to 8,
    /// row by row.
    double x = 0;
    double y = 0;
    int anchor = 0;
    std::size_t rows = 1;
    std::size_t columns = 1;
  };

  bool isDefined() const { return _isDefined; }
  bool isVisible() const { return _isDefined && _definition.isVisible; }
  void setVisible(bool isVisible) { _definition.isVisible = isVisible; }
  /// A window that is defined already keeps its text.
  void define(const Definition& definition);
  void setJustification(Justification justification) { _justification = justification; }
  void setPen(const Cea708Pen& pen) { _pen = pen; }
  const Cea708Pen& pen() const { return _pen; }

  void moveTo(std::size_t row, std::size_t column);
  void write(char16_t character);
  void backspace();
  void clear();
  void carriageReturn();
  /// Erases the row and returns to its begin.
  void restartRow();

  /// Returns the text at its place, without times. It is empty if nothing can be seen.
  SubtitleCue cue() const;

 private:
  struct Cell {
    char16_t character = 0;  // 0: empty
    Cea708Pen pen;
  };
  using Row = std::vector<Cell>;
  /// The first and the last row and column that have visible characters.
  struct Bounds {
    std::size_t top = 0;
    std::size_t bottom = 0;
    std::size_t left = 0;
    std::size_t right = 0;
  };

  std::optional<Bounds> _bounds() const;
  void _appendRow(const Row& row, const Bounds& bounds, SubtitleCue& cue) const;
  void _place(const Bounds& bounds, CueLayout& layout) const;

  bool _isDefined = false;
  Definition _definition;
  Justification _justification = Justification::Left;
  Cea708Pen _pen;
  std::vector<Row> _rows;
  std::size_t _row = 0;
  std::size_t _column = 0;
};

}  // namespace media
