#include "media/texts/TTMLParagraph.h"

#include <algorithm>
#include <cmath>
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

void TTMLParagraph::beginSpan(const Span& span, const TTMLRoot& root) {
  OpenSpan open;
  if (span.style.bidi) {
    const std::string_view initiator =
        initiatorOf(*span.style.bidi, span.style.rightToLeft.value_or(false));
    _cue.text += initiator;
    if (!initiator.empty())
      open.terminator = *span.style.bidi == TTMLStyle::Bidi::Isolate ? kPopIsolate : kPopDirection;
  }
  open.begin = _cue.text.size();
  open.look = span.own.look;
  if (span.own.fontSize && span.parentSize > 0)
    open.look.size = std::clamp(span.style.fontHeight(root) / span.parentSize, 0.25, 4.0);
  open.ruby = span.own.ruby.value_or("");
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
  if (span.isTimed && _timed.size() < kMaxParagraphSpans) {
    open.timed = _timed.size();
    _timed.push_back({open.begin, open.begin, span.begin, span.end});
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
  if (open.timed) _timed[*open.timed].last = _cue.text.size();
  _cue.text += open.terminator;
}

/// Returns the cue without the text of the spans that are not active.
SubtitleCue TTMLParagraph::_activeAt(double time) const {
  SubtitleCue cue = _cue;
  std::vector<char> keeps(cue.text.size(), 1);
  for (const Timed& each : _timed)
    if (time < each.begin || time >= each.end)
      std::fill(keeps.begin() + static_cast<std::ptrdiff_t>(std::min(each.first, keeps.size())),
                keeps.begin() + static_cast<std::ptrdiff_t>(std::min(each.last, keeps.size())), 0);
  std::vector<std::size_t> places{0};
  cue.text.clear();
  for (std::size_t at = 0; at < keeps.size(); ++at) {
    if (keeps[at]) cue.text += _cue.text[at];
    places.push_back(cue.text.size());
  }
  for (SubtitleSpan& span : cue.spans) {
    span.begin = places[std::min(span.begin, places.size() - 1)];
    span.end = places[std::min(span.end, places.size() - 1)];
  }
  return cue;
}

void TTMLParagraph::finish(double begin, double end, CueList& cues) {
  while (!_open.empty()) endSpan();
  if (!_hasText || !(end > begin)) return;
  std::vector<double> times{begin, end};
  for (const Timed& each : _timed)
    for (const double time : {each.begin, each.end})
      if (time > begin && time < end) times.push_back(time);
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  for (std::size_t index = 0; index + 1 < times.size(); ++index) {
    SubtitleCue cue = _activeAt(times[index]);
    trim(cue);
    if (cue.isEmpty()) continue;
    cue.start = times[index];
    cue.duration =
        std::isfinite(times[index + 1]) ? times[index + 1] - times[index] : SubtitleCue::kUntilNext;
    if (!cues.add(std::move(cue))) return;
  }
}

}  // namespace media
