#include "media/texts/TTMLContent.h"

#include <algorithm>
#include <utility>

#include "media/texts/TTMLParagraph.h"

namespace media {

void TTMLContent::beginSpan(TTMLStyle own, double begin, double end) {
  if (_spans.size() >= kMaxSpans) {
    _open.emplace_back();
    return;
  }
  _open.emplace_back(_spans.size());
  _tokens.push_back({.kind = Token::Kind::Begin, .span = _spans.size()});
  _spans.push_back({.own = {.style = std::move(own), .changes = {}}, .begin = begin, .end = end});
}

void TTMLContent::endSpan() {
  if (_open.empty()) return;
  if (_open.back()) _tokens.push_back({.kind = Token::Kind::End});
  _open.pop_back();
}

void TTMLContent::breakLine() {
  if (++_bytes <= kMaxTextBytes) _tokens.push_back({.kind = Token::Kind::Break});
}

void TTMLContent::append(std::string_view text, bool preservesSpace) {
  // Indentation between elements does not count.
  const bool isBlank = text.find_first_not_of(" \t\r\n") == std::string_view::npos;
  if (isBlank && !preservesSpace) text = text.substr(0, 1);
  text = text.substr(0, kMaxTextBytes - std::min(_bytes, kMaxTextBytes));
  if (text.empty()) return;
  _bytes += text.size();
  _tokens.push_back({.text = std::string(text), .preservesSpace = preservesSpace});
}

void TTMLContent::addChange(TTMLTimedStyle::Change change) {
  if (_open.empty() || !_open.back()) return;
  _spans[*_open.back()].own.add(std::move(change));
  ++_changes;
}

void TTMLContent::appendTimes(std::vector<double>& times) const {
  for (const Span& each : _spans) {
    times.insert(times.end(), {each.begin, each.end});
    each.own.appendTimes(times);
  }
}

SubtitleCue TTMLContent::cueAt(double time, SubtitleCue cue, const TTMLStyle& style,
                               const TTMLRoot& root) const {
  TTMLParagraph paragraph(std::move(cue), style);
  std::vector<TTMLStyle> computed{style};
  std::size_t skipped = 0;  // open spans, the outermost of which is not displayed
  for (const Token& token : _tokens) {
    switch (token.kind) {
      case Token::Kind::Begin: {
        const Span& span = _spans[token.span];
        const bool isActive = time >= span.begin && time < span.end;
        if (skipped == 0 && isActive) {
          const TTMLStyle own = span.own.at(time);
          if (own.isDisplayed.value_or(true)) {
            const double parentSize = computed.back().fontHeight(root);
            computed.push_back(computed.back());
            computed.back().inherit(own, root);
            paragraph.beginSpan(computed.back(), own, parentSize, root);
            break;
          }
        }
        ++skipped;
        break;
      }
      case Token::Kind::End:
        if (skipped > 0) {
          --skipped;
        } else {
          computed.pop_back();
          paragraph.endSpan();
        }
        break;
      case Token::Kind::Break:
        if (skipped == 0) paragraph.breakLine();
        break;
      case Token::Kind::Text:
        if (skipped == 0) paragraph.append(token.text, token.preservesSpace);
        break;
    }
  }
  return paragraph.take();
}

}  // namespace media
