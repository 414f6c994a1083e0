#include "media/texts/TTMLParagraph.h"

#include <algorithm>
#include <utility>

namespace media {
namespace {

constexpr std::size_t kMaxParagraphBytes = 4000;
constexpr std::size_t kMaxParagraphSpans = 64;

constexpr std::string_view kRightToLeftMark = "\u200f";
constexpr std::string_view kPopDirection = "\u202c";
constexpr std::string_view kPopIsolate = "\u2069";

bool isTTMLBlank(char byte) { return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r'; }

std::string_view initiatorOf(TTMLStyle::Bidi bidi, bool rightToLeft) {
  using Bidi = TTMLStyle::Bidi;
  if (bidi == Bidi::Embed) return rightToLeft ? "\u202b" : "\u202a";
  if (bidi == Bidi::Override) return rightToLeft ? "\u202e" : "\u202d";
  if (bidi == Bidi::Isolate) return rightToLeft ? "\u2067" : "\u2066";
  return {};
}

}  // namespace

TTMLParagraph::TTMLParagraph(SubtitleCue cue, const TTMLStyle& style) : _cue(std::move(cue)) {
  if (style.rightToLeft.value_or(false)) _linePrefix = kRightToLeftMark;
  _beginLine();
}

void TTMLParagraph::_beginLine() {
  _cue.text += _linePrefix;
  _skipsSpace = true;
}

void TTMLParagraph::breakLine() {
  if (_cue.text.size() > kMaxParagraphBytes) return;
  if (_cue.text.ends_with(' ')) _cue.text.pop_back();
  _cue.text += '\n';
  _beginLine();
}

void TTMLParagraph::append(std::string_view text, bool preservesSpace) {
  for (const char each : text) {
    if (_cue.text.size() > kMaxParagraphBytes) return;
    const bool isBlank = isTTMLBlank(each);
    if (!preservesSpace && isBlank) {
      if (!std::exchange(_skipsSpace, true)) _cue.text += ' ';
      continue;
    }
    _cue.text += each;
    _skipsSpace = false;
    _hasText = _hasText || !isBlank;
  }
}

void TTMLParagraph::beginSpan(const TTMLStyle& style, const TTMLStyle& own, double parentSize,
                              const TTMLRoot& root) {
  OpenSpan open;
  if (style.bidi) {
    const std::string_view initiator = initiatorOf(*style.bidi, style.rightToLeft.value_or(false));
    _cue.text += initiator;
    if (!initiator.empty())
      open.terminator = *style.bidi == TTMLStyle::Bidi::Isolate ? kPopIsolate : kPopDirection;
  }
  open.begin = _cue.text.size();
  open.look = own.look;
  if (own.fontSize && parentSize > 0)
    open.look.size = std::clamp(style.fontHeight(root) / parentSize, 0.25, 4.0);
  open.ruby = own.ruby.value_or("");
  if (open.ruby == "container") {
    _bases.clear();
    _rubyTexts.clear();
  }
  // A ruby text is half as large already.
  if (open.ruby == "text") open.look.size.reset();
  const bool isKept = open.ruby != "text" && open.ruby != "delimiter";
  if (isKept && _cue.spans.size() < kMaxParagraphSpans) {
    open.index = _cue.spans.size();
    SubtitleSpan& added = _cue.spans.emplace_back();
    added.begin = added.end = open.begin;
    added.element = "span";
    added.look = open.look;
  }
  _open.push_back(std::move(open));
}

/// Removes the end of the text and returns it.
std::string TTMLParagraph::_cutFrom(std::size_t begin) {
  std::string text = _cue.text.substr(std::min(begin, _cue.text.size()));
  _cue.text.resize(std::min(begin, _cue.text.size()));
  return text;
}

void TTMLParagraph::_endRuby(const OpenSpan& container) {
  for (std::size_t index = 0; index < _rubyTexts.size(); ++index) {
    if (_cue.spans.size() >= kMaxParagraphSpans) break;
    SubtitleSpan span;
    // One text, or one without a base of its own, belongs to the whole.
    const bool hasBase = index < _bases.size() && _rubyTexts.size() > 1;
    span.begin = hasBase ? _bases[index].first : container.begin;
    span.end = hasBase ? _bases[index].second : _cue.text.size();
    span.element = "rt";
    span.ruby = std::move(_rubyTexts[index].text);
    span.look = _rubyTexts[index].look;
    _cue.spans.push_back(std::move(span));
  }
  _bases.clear();
  _rubyTexts.clear();
}

void TTMLParagraph::endSpan() {
  if (_open.empty()) return;
  const OpenSpan open = std::move(_open.back());
  _open.pop_back();
  if (open.ruby == "text" || open.ruby == "delimiter") {
    std::string text = _cutFrom(open.begin);
    if (open.ruby == "text" && _rubyTexts.size() < kMaxParagraphSpans)
      _rubyTexts.push_back({std::move(text), open.look});
  } else if (open.ruby == "base") {
    if (_bases.size() < kMaxParagraphSpans) _bases.emplace_back(open.begin, _cue.text.size());
  } else if (open.ruby == "container") {
    _endRuby(open);
  }
  if (open.index) _cue.spans[*open.index].end = _cue.text.size();
  _cue.text += open.terminator;
}

SubtitleCue TTMLParagraph::take() {
  while (!_open.empty()) endSpan();
  if (!_hasText) return {};
  trim(_cue);
  return std::move(_cue);
}

}  // namespace media
