#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "platform/foundation/Dictionary.h"

namespace media {

/// Rules for the looks of cues, as in a style sheet: a selector and declarations. A later rule
/// overrides an earlier one. A selector is a simple one, with the pseudo-classes `:past`, `:future`
/// and `:lang()`.
///
/// Sources: the style sheet of a WebVTT text (CSS), and the list of a sender, whose entries are
/// dictionaries or CSS. Unknown or invalid parts are ignored.
///
/// Limits: kRuleLimit rules.
/// Threads: immutable once shared.
class SubtitleStyles {
 public:
  static constexpr std::size_t kRuleLimit = 64;

  /// Parses `::cue(selector) { property: value; … }` with comments.
  void addSheet(std::string_view css);
  /// The keys are in the table of the receiver interface.
  void addDictionary(const platform::Dictionary& dictionary);

  bool empty() const { return _rules.empty(); }
  /// A rule for whole cues is overridden by the spans of `cue`; a rule for spans overrides them.
  void applyTo(SubtitleCue& cue) const;

  friend bool operator==(const SubtitleStyles&, const SubtitleStyles&) = default;

 private:
  struct Selector {
    // An empty member matches everything.
    std::string identifier;
    std::string element;
    std::vector<std::string> classes;
    std::string annotation;
    std::string language;
    std::optional<SpanMoment::Kind> moment;

    bool isOfSpans() const {
      return !element.empty() || !classes.empty() || !annotation.empty() || !language.empty() ||
             moment;
    }
    /// Ignores the moment.
    bool fits(const SubtitleSpan& span, std::string_view languageOfSpan) const;
    friend bool operator==(const Selector&, const Selector&) = default;
  };
  struct Rule {
    Selector selector;
    SubtitleLook look;
    // Only for whole cues; lengths as in CueLayout.
    std::optional<CueLayout::Alignment> alignment;
    std::optional<double> line;
    std::optional<double> position;
    std::optional<double> width;
    friend bool operator==(const Rule&, const Rule&) = default;
  };

  static std::optional<Selector> _selectorOf(std::string_view text);
  static bool _readPseudoClass(std::string_view text, Selector& selector);
  void _addRule(Rule rule);
  static void _place(const Rule& rule, CueLayout& layout);

  std::vector<Rule> _rules;
};

/// Returns the rules of a sender: an array with a rule for each entry. Null if there are none.
std::shared_ptr<const SubtitleStyles> subtitleStylesOf(const platform::Value& value);

/// Applies one declaration of a style sheet. Returns false if the property is unknown.
bool readDeclaration(std::string_view property, std::string_view value, SubtitleLook& look);

/// Sets the horizontal range of a cue with this alignment. `position` is a fraction of the
/// picture's width: where the text begins, is centred, or ends, as `anchor` says.
void setPosition(CueLayout& layout, double position, double width, CueLayout::Alignment anchor);

std::optional<CueLayout::Alignment> alignmentOf(std::string_view text);

}  // namespace media
