#include "media/texts/SubtitleMarkup.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>

#include "media/output/SubtitleColor.h"
#include "media/texts/WebVTTTime.h"

namespace media {
namespace {

constexpr std::size_t kMaxMarkupSpans = 64;
constexpr std::size_t kClassLimit = 8;
constexpr std::size_t kMarkupLimit = std::size_t{64} * 1024;
constexpr std::size_t kEntityLimit = 10;
constexpr std::size_t kTimeStampLimit = 64;

constexpr std::array<std::pair<std::string_view, std::string_view>, 8> kEntities{
    {{"amp", "&"},
     {"lt", "<"},
     {"gt", ">"},
     {"quot", "\""},
     {"apos", "'"},
     {"nbsp", "\u00a0"},
     {"lrm", "\u200e"},
     {"rlm", "\u200f"}}};

bool isLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }
bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& each : result)
    if (each >= 'A' && each <= 'Z') each = static_cast<char>(each - 'A' + 'a');
  return result;
}

/// Calls `use(name, value)` for each attribute `name=value`. The value may be quoted.
template <typename Use>
void readAttributes(std::string_view text, const Use& use) {
  while (!(text = trimmed(text)).empty()) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) return;
    const std::string name = lowered(trimmed(text.substr(0, equals)));
    text = trimmed(text.substr(equals + 1));
    std::size_t end = 0;
    if (text.starts_with('"') || text.starts_with('\'')) {
      end = std::min(text.find(text.front(), 1), text.size());
      use(name, text.substr(1, end - 1));
      end = std::min(end + 1, text.size());
    } else {
      end = std::min(text.find(' '), text.size());
      use(name, text.substr(0, end));
    }
    text.remove_prefix(end);
  }
}

void readFontAttributes(std::string_view text, SubtitleLook& look) {
  readAttributes(text, [&](const std::string& name, std::string_view value) {
    if (name == "color" || name == "foreground" || name == "fgcolor") {
      if (const auto color = colorOf(value)) look.color = color;
    } else if (name == "background" || name == "bgcolor") {
      if (const auto color = colorOf(value)) look.background = color;
    } else if (name == "weight" || name == "font_weight") {
      look.bold = value == "bold" || value == "heavy" || value == "ultrabold";
    } else if (name == "style" || name == "font_style") {
      look.italic = value == "italic" || value == "oblique";
    } else if (name == "underline") {
      look.underline = value != "none";
    }
  });
}

/// Applies the default CSS classes of WebVTT, which set text and background colours.
void applyClasses(const std::vector<std::string>& classes, SubtitleLook& look) {
  for (const std::string& each : classes) {
    if (each.starts_with("bg_")) {
      if (const auto color = colorOf(each.substr(3))) look.background = color;
    } else if (const auto color = colorOf(each)) {
      look.color = color;
    }
  }
}

/// Searches a text from left to right for a character. Once the character is not found, later
/// searches return at once, so that the time stays linear.
class TagEnd {
 public:
  explicit TagEnd(char character) : _character(character) {}
  std::size_t find(std::string_view text) {
    const std::size_t end = _isMissing ? std::string_view::npos : text.find(_character);
    _isMissing = end == std::string_view::npos;
    return end;
  }

 private:
  const char _character;
  bool _isMissing = false;
};

/// Whether a text has a tag that looks like a time stamp.
bool mayHaveTimeStamps(std::string_view text) {
  for (std::size_t at = text.find('<'); at < text.size(); at = text.find('<', at + 1))
    if (at + 1 < text.size() && isDigit(text[at + 1])) return true;
  return false;
}

class MarkupReader {
 public:
  explicit MarkupReader(Markup kind) : _kind(kind) {}

  SubtitleCue read(std::string_view markup) {
    markup = markup.substr(0, kMarkupLimit);
    _marksTexts = _kind == Markup::WebVTT && mayHaveTimeStamps(markup);
    while (!markup.empty()) markup.remove_prefix(_take(markup));
    _endText();
    while (!_open.empty()) _closeSpan(_open.size() - 1);
    _addMoments();
    bound(_cue);
    return std::move(_cue);
  }

 private:
  /// Returns how many bytes it has read; at least one.
  std::size_t _take(std::string_view text) {
    if (text[0] == '<') {
      if (const std::size_t size = _takeTag(text)) return size;
    } else if (text[0] == '&') {
      if (const Entity entity = entityOf(text); entity.size > 0) {
        _beginText();
        _cue.text += entity.text;
        return entity.size;
      }
    } else if (_kind == Markup::SubRip && text.starts_with("{\\")) {
      if (const std::size_t end = _braceEnd.find(text); end != std::string_view::npos) {
        _takeOverride(text.substr(2, end - 2));
        return end + 1;
      }
    }
    if (text[0] == '\r' || text[0] == '\0') return 1;
    _beginText();
    _cue.text += text[0];
    return 1;
  }

  /// Returns zero if `text` does not begin with a tag.
  std::size_t _takeTag(std::string_view text) {
    const bool isTag = text.size() > 1 &&
                       (text[1] == '/' || text[1] == '.' || isLetter(text[1]) || isDigit(text[1]));
    const std::size_t end = isTag ? _tagEnd.find(text) : std::string_view::npos;
    if (end == std::string_view::npos) return 0;
    const std::string_view tag = text.substr(1, end - 1);
    _endText();
    if (tag.starts_with('/'))
      _close(lowered(trimmed(tag.substr(1))));
    else if (isDigit(tag[0]))
      _takeTimeStamp(tag);
    else
      _begin(tag);
    return end + 1;
  }

  void _takeTimeStamp(std::string_view tag) {
    const auto time = takeVTTTime(tag);
    if (!_marksTexts || !time || !tag.empty() || _timeStamps.size() >= kTimeStampLimit) return;
    if (_timeStamps.empty() || *time > _timeStamps.back()) _timeStamps.push_back(*time);
  }

  void _addSpan(SubtitleSpan span, bool isText) {
    _cue.spans.push_back(std::move(span));
    const auto outer = _open.empty() ? std::nullopt : std::optional(_open.back());
    _places.push_back({_timeStamps.size(), _timeStamps.size(), isText, outer});
  }

  /// Begins a span without a name, if the text may have time stamps.
  void _beginText() {
    if (!_marksTexts || _text || _texts >= kMaxMarkupSpans) return;
    ++_texts;
    _text = _cue.spans.size();
    SubtitleSpan span;
    span.begin = span.end = _cue.text.size();
    _addSpan(std::move(span), true);
  }

  void _endText() {
    if (_text) _cue.spans[*_text].end = _cue.text.size();
    _text.reset();
  }

  /// Adds the moments of spans, and removes spans without a name that are not needed or too many.
  void _addMoments() {
    std::vector<SubtitleSpan> kept;
    std::size_t free = kMaxMarkupSpans - (_cue.spans.size() - _texts);
    for (std::size_t index = 0; index < _cue.spans.size(); ++index) {
      const Place& place = _places[index];
      SubtitleSpan& span = _cue.spans[index];
      const bool hasOuter = place.outer && _places[*place.outer].begin == _places[*place.outer].end;
      if (place.isText) {
        if (_timeStamps.empty() || hasOuter || free == 0) continue;
        --free;
      }
      if (place.begin > 0)
        span.moments.push_back({SpanMoment::Kind::Future, _timeStamps[place.begin - 1], span.look});
      if (place.end < _timeStamps.size())
        span.moments.push_back({SpanMoment::Kind::Past, _timeStamps[place.end], span.look});
      kept.push_back(std::move(span));
    }
    _cue.spans = std::move(kept);
  }

  void _begin(std::string_view tag) {
    if (_cue.spans.size() - _texts >= kMaxMarkupSpans) return;
    const std::size_t nameEnd = std::min(tag.find_first_of(" \t\n"), tag.size());
    std::string_view names = tag.substr(0, nameEnd);
    SubtitleSpan span;
    span.begin = _cue.text.size();
    span.element = lowered(names.substr(0, names.find('.')));
    names.remove_prefix(span.element.size());
    while (names.starts_with('.') && span.classes.size() < kClassLimit) {
      names.remove_prefix(1);
      if (const std::string_view name = names.substr(0, names.find('.')); !name.empty())
        span.classes.emplace_back(name);
      names.remove_prefix(std::min(names.find('.'), names.size()));
    }
    const std::string_view rest = trimmed(tag.substr(nameEnd));
    if (span.element == "b") span.look.bold = true;
    if (span.element == "i") span.look.italic = true;
    if (span.element == "u") span.look.underline = true;
    if (span.element == "font" || span.element == "span") readFontAttributes(rest, span.look);
    if (span.element == "v" || span.element == "lang") span.annotation = rest;
    if (span.element == "ruby") _rubyBase = span.begin;
    if (span.element == "rt") {
      _closeElement("rt");
      span.begin = _cue.text.size();
    }
    applyClasses(span.classes, span.look);
    _addSpan(std::move(span), false);
    _open.push_back(_cue.spans.size() - 1);
  }

  void _close(const std::string& element) {
    if (element == "ruby") _closeElement("rt");
    _closeElement(element);
  }

  void _closeElement(std::string_view element) {
    for (std::size_t place = _open.size(); place-- > 0;) {
      if (_cue.spans[_open[place]].element != element) continue;
      _closeSpan(place);
      return;
    }
  }

  /// `place` is the index in `_open`.
  void _closeSpan(std::size_t place) {
    SubtitleSpan& span = _cue.spans[_open[place]];
    span.end = _cue.text.size();
    _places[_open[place]].end = _timeStamps.size();
    _open.erase(_open.begin() + static_cast<std::ptrdiff_t>(place));
    const bool isRuby = span.element == "rt";
    if (!isRuby && span.element != "rp") return;
    std::string inner = _cue.text.substr(span.begin);
    _cue.text.resize(span.begin);
    for (SubtitleSpan& each : _cue.spans) {
      each.begin = std::min(each.begin, _cue.text.size());
      each.end = std::min(each.end, _cue.text.size());
    }
    if (!isRuby) return;
    span.ruby = std::move(inner);
    span.begin = std::exchange(_rubyBase, span.end);
  }

  /// Reads "\an1" to "\an9". The digits are arranged like the keys of a numeric keypad.
  void _takeOverride(std::string_view codes) {
    const std::size_t at = codes.find("an");
    if (at == std::string_view::npos || at + 2 >= codes.size()) return;
    const int key = codes[at + 2] - '0';
    if (key < 1 || key > 9) return;
    using Alignment = CueLayout::Alignment;
    constexpr std::array kColumns{Alignment::Left, Alignment::Center, Alignment::Right};
    _cue.layout.alignment = kColumns[static_cast<std::size_t>(key - 1) % 3];
    if (key > 6) {
      _cue.layout.anchor = CueLayout::Anchor::Top;
      _cue.layout.line = 0;
    } else if (key > 3) {
      _cue.layout.anchor = CueLayout::Anchor::Middle;
      _cue.layout.y = 0.5;
    }
  }

  const Markup _kind;
  TagEnd _tagEnd{'>'};
  TagEnd _braceEnd{'}'};
  SubtitleCue _cue;
  std::vector<std::size_t> _open;  // indices of open spans, the innermost last
  std::size_t _rubyBase = 0;       // where the base of the next ruby text begins

  /// Where a span is among the time stamps.
  struct Place {
    std::size_t begin = 0;  // how many time stamps are before it
    std::size_t end = 0;    // and before its end
    bool isText = false;    // without a name
    std::optional<std::size_t> outer;
  };
  bool _marksTexts = false;
  std::vector<double> _timeStamps;
  std::vector<Place> _places;        // of the spans of the cue
  std::optional<std::size_t> _text;  // the span of the current text
  std::size_t _texts = 0;            // spans without a name
};

}  // namespace

Entity entityOf(std::string_view text) {
  const std::size_t end = text.substr(0, kEntityLimit).find(';');
  if (end == std::string_view::npos || end < 2) return {};
  std::string_view name = text.substr(1, end - 1);
  if (name[0] == '#') {
    const int base = name.size() > 1 && (name[1] == 'x' || name[1] == 'X') ? 16 : 10;
    name.remove_prefix(base == 16 ? 2 : 1);
    unsigned value = 0;
    const auto last = name.data() + name.size();
    if (name.empty() || std::from_chars(name.data(), last, value, base).ptr != last) return {};
    if (value == 0 || !g_unichar_validate(value)) return {};
    char bytes[6];
    const int size = g_unichar_to_utf8(value, bytes);
    return {std::string(bytes, static_cast<std::size_t>(size)), end + 1};
  }
  for (const auto& [known, meaning] : kEntities)
    if (name == known) return {std::string(meaning), end + 1};
  return {};
}

SubtitleCue cueOfMarkup(std::string_view markup, Markup kind) {
  SubtitleCue cue = MarkupReader(kind).read(markup);
  trim(cue);
  return cue;
}

}  // namespace media
