#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/texts/CueList.h"
#include "media/texts/TTMLStyle.h"

namespace media {

/// Builds the cues of one paragraph of TTML from its text and its spans.
///
/// Limits: the bytes of the text, and the number of spans.
class TTMLParagraph {
 public:
  /// `style` is the computed style. `cue` has the layout and the identifier.
  TTMLParagraph(SubtitleCue cue, const TTMLStyle& style);

  struct Span {
    TTMLStyle style;  ///< computed
    TTMLStyle own;
    double parentSize = 0;  ///< the font size of the parent as a fraction of the root's height
    double begin = 0;
    double end = 0;
    bool isTimed = false;  ///< the times differ from those of the parent
  };
  void beginSpan(const Span& span, const TTMLRoot& root);
  void endSpan();
  void breakLine();
  void append(std::string_view text, bool preservesSpace);

  /// Adds the cues between the times of the paragraph. `end` may be infinite.
  void finish(double begin, double end, CueList& cues);

 private:
  struct OpenSpan {
    std::optional<std::size_t> index;  // in the cue; none above the limit
    std::size_t begin = 0;
    std::string ruby;
    std::string_view terminator;  // of bidirectional text
    SubtitleLook look;
    std::optional<std::size_t> timed;  // in `_timed`
  };
  struct Timed {
    std::size_t first = 0;  // range of the text
    std::size_t last = 0;
    double begin = 0;
    double end = 0;
  };
  struct RubyText {
    std::string text;
    SubtitleLook look;
  };
  void _beginLine();
  std::string _cutFrom(std::size_t begin);
  void _endRuby(const OpenSpan& container);
  SubtitleCue _activeAt(double time) const;

  SubtitleCue _cue;
  std::string_view _linePrefix;
  std::vector<OpenSpan> _open;
  std::vector<Timed> _timed;
  std::vector<std::pair<std::size_t, std::size_t>> _bases;  // of the open ruby
  std::vector<RubyText> _rubyTexts;
  bool _skipsSpace = true;
  bool _hasText = false;
};

}  // namespace media
