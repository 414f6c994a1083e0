#include "media/output/SubtitleStyles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "media/output/SubtitleColor.h"
#include "platform/foundation/Value.h"

namespace media {
namespace {

using Alignment = CueLayout::Alignment;

constexpr std::size_t kSheetLimit = std::size_t{64} * 1024;
constexpr double kSmallest = 0.25;
constexpr double kLargest = 4;

constexpr std::array<std::pair<std::string_view, Alignment>, 6> kAlignments{
    {{"start", Alignment::Start},
     {"center", Alignment::Center},
     {"middle", Alignment::Center},
     {"end", Alignment::End},
     {"left", Alignment::Left},
     {"right", Alignment::Right}}};

constexpr std::array<std::pair<std::string_view, TextEdge>, 5> kEdges{
    {{"none", TextEdge::None},
     {"uniform", TextEdge::Uniform},
     {"dropShadow", TextEdge::DropShadow},
     {"raised", TextEdge::Raised},
     {"depressed", TextEdge::Depressed}}};

template <typename T, std::size_t N>
std::optional<T> named(const std::array<std::pair<std::string_view, T>, N>& names,
                       std::string_view text) {
  for (const auto& [name, value] : names)
    if (name == text) return value;
  return std::nullopt;
}

std::optional<double> sizeOf(std::string_view text) {
  const auto number = takeNumber(text);
  const std::string_view unit = trimmed(text);
  if (!number || *number <= 0) return std::nullopt;
  if (unit == "%") return std::clamp(*number / 100, kSmallest, kLargest);
  if (unit == "em" || unit == "rem") return std::clamp(*number, kSmallest, kLargest);
  return std::nullopt;
}

std::optional<double> shareOf(const platform::Dictionary& rule, std::string_view key) {
  const auto number = rule.number(key);
  const double value = number ? number->doubleValue() : NAN;
  if (!(value >= 0 && value <= 100)) return std::nullopt;
  return value / 100;
}

/// Parses an array of opacity, red, green and blue, each 0 to 1, or a string as in a style sheet.
std::optional<platform::Color> colorOf(const platform::Value& value) {
  if (const std::string* text = value.asString()) return media::colorOf(*text);
  const platform::Array* list = value.asArray();
  if (!list || list->size() != 4) return std::nullopt;
  std::array<float, 4> channels{};
  for (std::size_t index = 0; index < channels.size(); ++index) {
    const platform::Number* number = (*list)[index].asNumber();
    if (!number) return std::nullopt;
    channels[index] = number->floatValue();
    if (!(channels[index] >= 0 && channels[index] <= 1)) return std::nullopt;
  }
  return platform::Color{channels[1], channels[2], channels[3], channels[0]};
}

std::optional<bool> flag(const platform::Dictionary& rule, std::string_view key) {
  const auto number = rule.number(key);
  return number ? std::optional(number->boolValue()) : std::nullopt;
}

std::string withoutComments(std::string_view css) {
  std::string text;
  while (!css.empty()) {
    const std::size_t begin = css.find("/*");
    text += css.substr(0, begin);
    if (begin == std::string_view::npos) break;
    const std::size_t end = css.find("*/", begin + 2);
    css = end == std::string_view::npos ? std::string_view() : css.substr(end + 2);
  }
  return text;
}

/// Calls `use` for each part of `text` between separators that are not in parentheses.
template <typename Use>
void forEachPart(std::string_view text, char separator, const Use& use) {
  while (!text.empty()) {
    std::size_t end = 0;
    for (int depth = 0; end < text.size(); ++end) {
      if (depth <= 0 && text[end] == separator) break;
      if (text[end] == '(') ++depth;
      if (text[end] == ')') --depth;
    }
    use(trimmed(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

/// Removes `::cue` and its parentheses. Returns nullopt if something else follows.
std::optional<std::string_view> argumentOfCue(std::string_view text) {
  constexpr std::string_view kCue = "::cue";
  if (!text.starts_with(kCue)) return text;
  text = trimmed(text.substr(kCue.size()));
  if (text.empty()) return text;
  if (!text.starts_with('(') || !text.ends_with(')')) return std::nullopt;
  return trimmed(text.substr(1, text.size() - 2));
}

std::string_view unquoted(std::string_view text) {
  const bool isQuoted = text.size() > 1 && (text[0] == '"' || text[0] == '\'');
  return isQuoted ? text.substr(1, text.size() - 2) : text;
}

/// Whether a language, such as "en-GB", is `range` or a variant of it.
bool isInLanguage(std::string_view language, std::string_view range) {
  const auto lowered = [](char each) {
    return each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each;
  };
  if (language.size() < range.size() ||
      !std::equal(range.begin(), range.end(), language.begin(),
                  [&](char one, char other) { return lowered(one) == lowered(other); }))
    return false;
  return language.size() == range.size() || language[range.size()] == '-';
}

/// Returns the language of a span: that of the innermost "lang" element that contains it.
std::string_view languageOf(const SubtitleCue& cue, const SubtitleSpan& span) {
  std::string_view language;
  for (const SubtitleSpan& each : cue.spans) {
    if (each.element == "lang" && each.begin <= span.begin && span.end <= each.end)
      language = each.annotation;
    if (&each == &span) break;
  }
  return language;
}

}  // namespace

std::optional<Alignment> alignmentOf(std::string_view text) { return named(kAlignments, text); }

bool readDeclaration(std::string_view property, std::string_view value, SubtitleLook& look) {
  value = trimmed(value.substr(0, value.find("!important")));
  if (property == "color") {
    if (const auto color = media::colorOf(value)) look.color = color;
  } else if (property == "background-color" || property == "background") {
    if (const auto color = media::colorOf(value)) look.background = color;
  } else if (property == "font-size") {
    if (const auto size = sizeOf(value)) look.size = size;
  } else if (property == "font-style") {
    look.italic = value == "italic" || value == "oblique";
  } else if (property == "font-weight") {
    std::string_view rest = value;
    look.bold = value == "bold" || value == "bolder" || takeNumber(rest).value_or(400) >= 600;
  } else if (property == "text-decoration" || property == "text-decoration-line") {
    look.underline = value.find("underline") != std::string_view::npos;
  } else if (property == "visibility") {
    look.isHidden = value == "hidden" || value == "collapse";
  } else if (property == "text-shadow") {
    look.edge = value == "none" ? TextEdge::None : TextEdge::DropShadow;
  } else if (property == "outline" || property == "-webkit-text-stroke") {
    look.edge = value == "none" ? TextEdge::None : TextEdge::Uniform;
  } else {
    return false;
  }
  return true;
}

void setPosition(CueLayout& layout, double position, double width, Alignment anchor) {
  position = std::clamp(position, 0.0, 1.0);
  const bool isLeft = anchor == Alignment::Start || anchor == Alignment::Left;
  const bool isCenter = anchor == Alignment::Center;
  const double room = isLeft     ? 1 - position
                      : isCenter ? 2 * std::min(position, 1 - position)
                                 : position;
  layout.width = std::min(std::clamp(width, 0.0, 1.0), room);
  layout.left = position - *layout.width * (isLeft ? 0 : isCenter ? 0.5 : 1);
}

bool SubtitleStyles::Selector::fits(const SubtitleSpan& span,
                                    std::string_view languageOfSpan) const {
  const auto has = [&](const std::string& name) {
    return std::find(span.classes.begin(), span.classes.end(), name) != span.classes.end();
  };
  return (element.empty() || element == span.element) &&
         (annotation.empty() || annotation == span.annotation) &&
         (language.empty() || isInLanguage(languageOfSpan, language)) &&
         std::all_of(classes.begin(), classes.end(), has);
}

/// Reads a pseudo-class without its colon. Returns false if it is unknown.
bool SubtitleStyles::_readPseudoClass(std::string_view text, Selector& selector) {
  constexpr std::string_view kLanguage = "lang(";
  if (text == "past" || text == "future") {
    selector.moment = text == "past" ? SpanMoment::Kind::Past : SpanMoment::Kind::Future;
    return true;
  }
  if (!text.starts_with(kLanguage) || !text.ends_with(')')) return false;
  text = text.substr(kLanguage.size(), text.size() - kLanguage.size() - 1);
  selector.language = unquoted(trimmed(text));
  return !selector.language.empty();
}

std::optional<SubtitleStyles::Selector> SubtitleStyles::_selectorOf(std::string_view text) {
  const auto argument = argumentOfCue(trimmed(text));
  if (!argument) return std::nullopt;
  text = *argument;
  Selector selector;
  while (!text.ends_with(']')) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) break;
    if (!_readPseudoClass(text.substr(colon + 1), selector)) return std::nullopt;
    text = text.substr(0, colon);
  }
  // Combinators are not supported.
  const std::size_t bracket = std::min(text.find('['), text.size());
  if (text.substr(0, bracket).find_first_of(" >+~:(") != std::string_view::npos)
    return std::nullopt;
  if (bracket < text.size()) {
    std::string_view attribute = text.substr(bracket);
    const std::size_t equals = attribute.find('=');
    if (equals == std::string_view::npos || !attribute.ends_with(']')) return std::nullopt;
    attribute = trimmed(attribute.substr(equals + 1, attribute.size() - equals - 2));
    selector.annotation = unquoted(attribute);
    text = text.substr(0, bracket);
  }
  if (text.starts_with('*')) text.remove_prefix(1);
  if (text.starts_with('#')) {
    selector.identifier = text.substr(1);
    return selector;
  }
  selector.element = text.substr(0, text.find('.'));
  text.remove_prefix(selector.element.size());
  forEachPart(text, '.', [&](std::string_view name) {
    if (!name.empty()) selector.classes.emplace_back(name);
  });
  return selector;
}

void SubtitleStyles::_addRule(Rule rule) {
  if (_rules.size() < kRuleLimit) _rules.push_back(std::move(rule));
}

void SubtitleStyles::addSheet(std::string_view css) {
  const std::string text = withoutComments(css.substr(0, kSheetLimit));
  std::string_view rest = text;
  while (_rules.size() < kRuleLimit) {
    const std::size_t open = rest.find('{');
    if (open == std::string_view::npos) return;
    const std::size_t close = std::min(rest.find('}', open), rest.size());
    const std::string_view selectors = rest.substr(0, open);
    Rule rule;
    forEachPart(rest.substr(open + 1, close - open - 1), ';', [&](std::string_view declaration) {
      const std::size_t colon = declaration.find(':');
      if (colon == std::string_view::npos) return;
      const std::string_view property = trimmed(declaration.substr(0, colon));
      const std::string_view value = trimmed(declaration.substr(colon + 1));
      if (property == "text-align")
        rule.alignment = alignmentOf(value);
      else
        readDeclaration(property, value, rule.look);
    });
    const auto add = [&](std::string_view each) {
      const auto selector = _selectorOf(each);
      if (!selector) return;
      rule.selector = *selector;
      _addRule(rule);
    };
    forEachPart(selectors, ',', [&](std::string_view each) {
      if (each.empty()) return;
      const auto list = argumentOfCue(each);
      if (list && !list->empty())
        forEachPart(*list, ',', add);
      else
        add(each);
    });
    rest.remove_prefix(std::min(close + 1, rest.size()));
  }
}

void SubtitleStyles::addDictionary(const platform::Dictionary& dictionary) {
  Rule rule;
  const auto selector = _selectorOf(dictionary.string("selector").value_or(""));
  if (!selector) return;
  rule.selector = *selector;
  rule.look.color = colorOf(dictionary.get("foregroundColor"));
  rule.look.background = colorOf(dictionary.get("backgroundColor"));
  if (const auto size = dictionary.number("relativeSize"); size && size->doubleValue() > 0)
    rule.look.size = std::clamp(size->doubleValue() / 100, kSmallest, kLargest);
  rule.look.bold = flag(dictionary, "bold");
  rule.look.italic = flag(dictionary, "italic");
  rule.look.underline = flag(dictionary, "underline");
  rule.look.edge = named(kEdges, dictionary.string("edgeStyle").value_or(""));
  rule.alignment = alignmentOf(dictionary.string("alignment").value_or(""));
  rule.line = shareOf(dictionary, "linePosition");
  rule.position = shareOf(dictionary, "textPosition");
  rule.width = shareOf(dictionary, "lineWidth");
  _addRule(std::move(rule));
}

void SubtitleStyles::_place(const Rule& rule, CueLayout& layout) {
  if (rule.alignment) layout.alignment = *rule.alignment;
  // A place in the picture, not in a region.
  if (rule.line || rule.position || rule.width) layout.region.reset();
  if (rule.line) {
    layout.line.reset();
    layout.y = rule.line;
    // A text at the upper edge grows downwards, a text at the lower edge grows upwards.
    layout.anchor = *rule.line < 0.5   ? CueLayout::Anchor::Top
                    : *rule.line > 0.5 ? CueLayout::Anchor::Bottom
                                       : CueLayout::Anchor::Middle;
  }
  if (rule.position || rule.width)
    setPosition(layout, rule.position.value_or(0.5), rule.width.value_or(1),
                rule.position ? layout.alignment : Alignment::Center);
}

void SubtitleStyles::applyTo(SubtitleCue& cue) const {
  for (const Rule& rule : _rules) {
    if (!rule.selector.identifier.empty() && rule.selector.identifier != cue.identifier) continue;
    if (rule.selector.isOfSpans()) {
      for (SubtitleSpan& span : cue.spans) {
        if (!rule.selector.fits(span, languageOf(cue, span))) continue;
        const auto kind = rule.selector.moment;
        if (!kind) span.look.put(rule.look);
        for (SpanMoment& moment : span.moments)
          if (!kind || moment.kind == *kind) moment.look.put(rule.look);
      }
    } else {
      cue.look.put(rule.look);
      _place(rule, cue.layout);
    }
  }
}

std::shared_ptr<const SubtitleStyles> subtitleStylesOf(const platform::Value& value) {
  const platform::Array* rules = value.asArray();
  if (!rules) return nullptr;
  auto styles = std::make_shared<SubtitleStyles>();
  for (const platform::Value& each : *rules) {
    if (const platform::Dictionary* dictionary = each.asDictionary())
      styles->addDictionary(*dictionary);
    else if (const std::string* sheet = each.asString())
      styles->addSheet(*sheet);
  }
  return styles->empty() ? nullptr : styles;
}

}  // namespace media
