#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "media/texts/TTMLStyle.h"
#include "media/texts/TTMLTimedStyle.h"

namespace media {

/// The content of a paragraph of TTML: its texts, line breaks and spans, with their times and
/// styles.
///
/// Limits: kMaxTextBytes and kMaxSpans. What exceeds them is left out; a span becomes part of the
/// text around it.
class TTMLContent {
 public:
  static constexpr std::size_t kMaxTextBytes = 16000;
  static constexpr std::size_t kMaxSpans = 256;

  void beginSpan(TTMLStyle own, double begin, double end);
  void endSpan();
  void breakLine();
  void append(std::string_view text, bool preservesSpace);
  /// Adds a change to the innermost open span.
  void addChange(TTMLTimedStyle::Change change);

  std::size_t bytes() const { return _bytes; }
  std::size_t changes() const { return _changes; }
  void appendTimes(std::vector<double>& times) const;

  /// Returns the cue at a time. `cue` has the layout and the look of the paragraph, and `style` is
  /// its computed style.
  SubtitleCue cueAt(double time, SubtitleCue cue, const TTMLStyle& style,
                    const TTMLRoot& root) const;

 private:
  struct Span {
    TTMLTimedStyle own;
    double begin = 0;
    double end = 0;
  };
  struct Token {
    enum class Kind { Begin, End, Break, Text };
    Kind kind = Kind::Text;
    std::size_t span = 0;  // of Begin
    std::string text{};
    bool preservesSpace = false;
  };

  std::vector<Token> _tokens;
  std::vector<Span> _spans;
  std::vector<std::optional<std::size_t>> _open;  // none above the limit
  std::size_t _bytes = 0;
  std::size_t _changes = 0;
};

}  // namespace media
