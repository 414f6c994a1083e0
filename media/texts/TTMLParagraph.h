#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "media/texts/TTMLStyle.h"

namespace media {

/// Builds the cue of one paragraph of TTML, as it is at one time, from its texts and spans.
///
/// Limits: the bytes of the text, and the number of spans.
class TTMLParagraph {
 public:
  /// `style` is the computed style. `cue` has the layout and the identifier.
  TTMLParagraph(SubtitleCue cue, const TTMLStyle& style);

  /// `style` is the computed style. `parentSize` is the font size of the parent as a fraction of
  /// the root's height.
  void beginSpan(const TTMLStyle& style, const TTMLStyle& own, double parentSize,
                 const TTMLRoot& root);
  void endSpan();
  void breakLine();
  void append(std::string_view text, bool preservesSpace);

  /// Closes open spans and returns the cue, which is empty if there is no text.
  SubtitleCue take();

 private:
  struct OpenSpan {
    std::optional<std::size_t> index;  // in the cue; none above the limit
    std::size_t begin = 0;
    std::string ruby;
    std::string_view terminator;  // of bidirectional text
    SubtitleLook look;
  };
  struct RubyText {
    std::string text;
    SubtitleLook look;
  };
  void _beginLine();
  std::string _cutFrom(std::size_t begin);
  void _endRuby(const OpenSpan& container);

  SubtitleCue _cue;
  std::string_view _linePrefix;
  std::vector<OpenSpan> _open;
  std::vector<std::pair<std::size_t, std::size_t>> _bases;  // of the open ruby
  std::vector<RubyText> _rubyTexts;
  bool _skipsSpace = true;
  bool _hasText = false;
};

}  // namespace media
