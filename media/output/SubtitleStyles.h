#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "platform/foundation/Value.h"

namespace media {

/// Rules about the looks of cues, as a style sheet holds them: which parts of which cues, and what
/// of their looks. A later rule goes over an earlier one.
///
/// Two sources: the style sheet of a WebVTT text (CSS), and the list of a sender, whose entries are
/// dictionaries or CSS. What is unknown, or makes no sense, is left out.
///
/// Bounds: so many rules.
/// Threads: immutable once shared.
class SubtitleStyles {
 public:
  static constexpr std::size_t kRuleLimit = 64;

  /// `::cue(selector) { property: value; … }`, comments in between.
  void addSheet(std::string_view css);
  /// See the table of the receiver interface.
  void addDictionary(const platform::Dictionary& dictionary);

  bool empty() const { return _rules.empty(); }
  /// A rule for whole cues goes beneath what the spans of `cue` say, one for spans over it.
  void applyTo(SubtitleCue& cue) const;

  friend bool operator==(const SubtitleStyles&, const SubtitleStyles&) = default;

 private:
  struct Selector {
    // What is empty fits everything.
    std::string identifier;
    std::string element;
    std::vector<std::string> classes;
    std::string annotation;

    bool isOfSpans() const { return !element.empty() || !classes.empty() || !annotation.empty(); }
    bool fits(const SubtitleSpan& span) const;
    friend bool operator==(const Selector&, const Selector&) = default;
  };
  struct Rule {
    Selector selector;
    SubtitleLook look;
    // Of whole cues only; lengths as in CueLayout.
    std::optional<CueLayout::Alignment> alignment;
    std::optional<double> line;
    std::optional<double> position;
    std::optional<double> width;
    friend bool operator==(const Rule&, const Rule&) = default;
  };

  static std::optional<Selector> _selectorOf(std::string_view text);
  void _addRule(Rule rule);
  static void _place(const Rule& rule, CueLayout& layout);

  std::vector<Rule> _rules;
};

/// Those of a sender: an array's entries, each a rule. Null when there are none.
std::shared_ptr<const SubtitleStyles> subtitleStylesOf(const platform::Value& value);

/// What one declaration of a style sheet changes; false for what it does not know.
bool readDeclaration(std::string_view property, std::string_view value, SubtitleLook& look);

/// The part of its line that a text of such an alignment takes, `position` being the share of the
/// picture's width at which it begins, has its middle, or ends.
void setPosition(CueLayout& layout, double position, double width, CueLayout::Alignment anchor);

std::optional<CueLayout::Alignment> alignmentOf(std::string_view text);

}  // namespace media
