#include "media/texts/TTMLText.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <glib.h>

#include "media/output/SubtitleColor.h"
#include "media/output/SubtitleCues.h"
#include "media/output/SubtitleStyles.h"
#include "media/texts/TTMLTime.h"

namespace media {
namespace {

using Anchor = CueLayout::Anchor;

constexpr std::size_t kDepthLimit = 32;
constexpr std::size_t kNameLimit = 1000;
constexpr std::size_t kMaxTTMLBytes = 4000;

/// The `tts:` attributes of an element that are supported.
struct Style {
  SubtitleLook look;
  std::optional<CueLayout::Alignment> alignment;
  std::optional<Anchor> anchor;
  // Fractions of the picture.
  std::optional<std::pair<double, double>> origin;
  std::optional<std::pair<double, double>> extent;

  void put(const Style& over) {
    look.put(over.look);
    if (over.alignment) alignment = over.alignment;
    if (over.anchor) anchor = over.anchor;
    if (over.origin) origin = over.origin;
    if (over.extent) extent = over.extent;
  }
};

struct Attributes {
  const gchar** names;
  const gchar** values;

  /// Finds an attribute by its local name. Prefixes are ignored.
  std::string_view get(std::string_view name) const {
    for (std::size_t index = 0; names[index]; ++index) {
      std::string_view each = names[index];
      if (const std::size_t colon = each.rfind(':'); colon != std::string_view::npos)
        each.remove_prefix(colon + 1);
      if (each == name) return values[index];
    }
    return {};
  }
};

std::string_view localName(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

struct OpenElement {
  std::string name;
  double begin = 0;
  double end = HUGE_VAL;
  std::string region;
  Style style;
  bool preservesSpace = false;
};

class TTMLReader {
 public:
  std::vector<SubtitleCue> read(std::string_view text) {
    const GMarkupParser parser{_onStart, _onEnd, _onText, nullptr, nullptr};
    const std::unique_ptr<GMarkupParseContext, void (*)(GMarkupParseContext*)> context(
        g_markup_parse_context_new(&parser, G_MARKUP_TREAT_CDATA_AS_TEXT, this, nullptr),
        g_markup_parse_context_free);
    // After a syntax error, the cues read before it are returned.
    g_markup_parse_context_parse(context.get(), text.data(), static_cast<gssize>(text.size()),
                                 nullptr);
    return std::move(_cues);
  }

 private:
  static void _onStart(GMarkupParseContext*, const gchar* name, const gchar** names,
                       const gchar** values, gpointer self, GError** error) {
    if (!static_cast<TTMLReader*>(self)->_start(localName(name), {names, values}))
      g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "too much");
  }
  static void _onEnd(GMarkupParseContext*, const gchar*, gpointer self, GError**) {
    static_cast<TTMLReader*>(self)->_finish();
  }
  static void _onText(GMarkupParseContext*, const gchar* text, gsize size, gpointer self,
                      GError**) {
    static_cast<TTMLReader*>(self)->_take({text, size});
  }

  bool _start(std::string_view name, const Attributes& attributes) {
    if (_openElements.size() >= kDepthLimit || _cues.size() >= SubtitleCues::kCueLimit)
      return false;
    OpenElement element = _openElements.empty() ? OpenElement{} : _openElements.back();
    element.name = name;
    if (name == "tt") _readDocument(attributes);
    _readTimes(attributes, element);
    if (const auto region = attributes.get("region"); !region.empty()) element.region = region;
    if (const auto space = attributes.get("space"); !space.empty())
      element.preservesSpace = space == "preserve";
    const Style own = _styleOf(attributes);
    const std::string identifier(attributes.get("id"));
    if (name == "style") {
      if (_isInside("region"))
        _regions[_region].put(own);
      else if (_styles.size() < kNameLimit && !identifier.empty())
        _styles[identifier] = own;
    } else if (name == "region") {
      if (_regions.size() >= kNameLimit) return false;
      _region = identifier;
      _regions[_region] = own;
    } else if (name == "p") {
      element.style.put(own);
      _beginCue(element, identifier);
    } else if (name == "span" && _cue) {
      element.style.put(own);
      SubtitleSpan span;
      span.begin = _cue->text.size();
      span.element = "span";
      span.look = own.look;
      _spans.push_back(_cue->spans.size());
      _cue->spans.push_back(std::move(span));
    } else if (name == "br" && _cue) {
      _breakLine();
    } else {
      element.style.put(own);
    }
    _openElements.push_back(std::move(element));
    return true;
  }

  void _finish() {
    const OpenElement element = std::move(_openElements.back());
    _openElements.pop_back();
    if (element.name == "span" && _cue && !_spans.empty()) {
      _cue->spans[_spans.back()].end = _cue->text.size();
      _spans.pop_back();
    } else if (element.name == "p" && _cue) {
      _endCue(element);
    }
  }

  bool _isInside(std::string_view name) const {
    return !_openElements.empty() && _openElements.back().name == name;
  }

  void _readDocument(const Attributes& attributes) {
    _clock.setFrameRate(attributes.get("frameRate"));
    _clock.multiplyFrameRate(attributes.get("frameRateMultiplier"));
    _clock.setTickRate(attributes.get("tickRate"));
    if (const auto size = _pixelsOf(attributes.get("extent"))) {
      _width = size->first;
      _height = size->second;
    }
    if (std::string_view cells = attributes.get("cellResolution"); !cells.empty()) {
      const double columns = takeNumber(cells).value_or(0);
      const double rows = takeNumber(cells).value_or(0);
      if (columns > 0 && rows > 0) {
        _columns = columns;
        _rows = rows;
      }
    }
  }

  void _readTimes(const Attributes& attributes, OpenElement& element) const {
    const double base = element.begin;
    if (const auto begin = _clock.secondsOf(attributes.get("begin"))) element.begin = base + *begin;
    if (const auto end = _clock.secondsOf(attributes.get("end")))
      element.end = std::min(element.end, base + *end);
    else if (const auto duration = _clock.secondsOf(attributes.get("dur")))
      element.end = std::min(element.end, element.begin + *duration);
  }

  /// "1280px 720px"
  static std::optional<std::pair<double, double>> _pixelsOf(std::string_view text) {
    const auto width = takeNumber(text);
    if (!width || !text.starts_with("px")) return std::nullopt;
    text.remove_prefix(2);
    const auto height = takeNumber(text);
    if (!height || text != "px") return std::nullopt;
    return std::pair(*width, *height);
  }

  /// Removes a length from the beginning of `text` and returns it as a fraction of the picture.
  /// `pixels` and `cells` are the size of the picture in these units.
  static std::optional<double> _takeShare(std::string_view& text, double pixels, double cells) {
    const auto number = takeNumber(text);
    if (!number) return std::nullopt;
    const std::string_view unit = text.substr(0, text.find(' '));
    text.remove_prefix(unit.size());
    const double whole = unit == "%" ? 100 : unit == "px" ? pixels : unit == "c" ? cells : 0;
    if (whole <= 0) return std::nullopt;
    return std::clamp(*number / whole, 0.0, 1.0);
  }

  std::optional<std::pair<double, double>> _sharesOf(std::string_view text) const {
    const auto first = _takeShare(text, _width, _columns);
    const auto second = _takeShare(text, _height, _rows);
    if (!first || !second) return std::nullopt;
    return std::pair(*first, *second);
  }

  Style _styleOf(const Attributes& attributes) const {
    Style style;
    std::string_view references = attributes.get("style");
    while (!(references = trimmed(references)).empty()) {
      const std::size_t end = std::min(references.find(' '), references.size());
      const auto found = _styles.find(std::string(references.substr(0, end)));
      if (found != _styles.end()) style.put(found->second);
      references.remove_prefix(end);
    }
    if (const auto value = attributes.get("color"); !value.empty())
      readDeclaration("color", value, style.look);
    if (const auto value = attributes.get("backgroundColor"); !value.empty())
      readDeclaration("background-color", value, style.look);
    if (const auto value = attributes.get("fontStyle"); !value.empty())
      readDeclaration("font-style", value, style.look);
    if (const auto value = attributes.get("fontWeight"); !value.empty())
      readDeclaration("font-weight", value, style.look);
    if (const auto value = attributes.get("textDecoration"); !value.empty())
      readDeclaration("text-decoration", value, style.look);
    // The last of two sizes is the height. Sizes in pixels or cells are ignored by
    // readDeclaration().
    std::string_view size = attributes.get("fontSize");
    size.remove_prefix(size.rfind(' ') == std::string_view::npos ? 0 : size.rfind(' ') + 1);
    if (!size.empty()) readDeclaration("font-size", size, style.look);
    if (std::string_view outline = attributes.get("textOutline"); !outline.empty())
      style.look.edge = outline == "none" ? TextEdge::None : TextEdge::Uniform;
    style.alignment = alignmentOf(attributes.get("textAlign"));
    const std::string_view anchor = attributes.get("displayAlign");
    if (anchor == "before") style.anchor = Anchor::Top;
    if (anchor == "center") style.anchor = Anchor::Middle;
    if (anchor == "after") style.anchor = Anchor::Bottom;
    style.origin = _sharesOf(attributes.get("origin"));
    style.extent = _sharesOf(attributes.get("extent"));
    return style;
  }

  void _beginCue(const OpenElement& element, const std::string& identifier) {
    _cue.emplace();
    _spans.clear();
    _cue->identifier = identifier;
    Style style;
    if (const auto region = _regions.find(element.region); region != _regions.end()) {
      style = region->second;
      // The background of a region is drawn behind its letters only; a filled region would hide
      // video.
      _place(style);
    }
    style.put(element.style);
    _cue->look = style.look;
    if (style.alignment) _cue->layout.alignment = *style.alignment;
  }

  void _place(const Style& region) {
    if (!region.origin && !region.extent) return;
    const auto origin = region.origin.value_or(std::pair(0.0, 0.0));
    const auto extent = region.extent.value_or(std::pair(1 - origin.first, 1 - origin.second));
    CueLayout& layout = _cue->layout;
    layout.left = origin.first;
    layout.width = std::min(extent.first, 1 - origin.first);
    layout.anchor = region.anchor.value_or(Anchor::Top);
    const double share = layout.anchor == Anchor::Top      ? 0
                         : layout.anchor == Anchor::Middle ? 0.5
                                                           : 1;
    layout.y = std::min(origin.second + share * extent.second, 1.0);
    layout.alignment = CueLayout::Alignment::Start;
  }

  void _take(std::string_view text) {
    if (!_cue || _openElements.empty() || _cue->text.size() > kMaxTTMLBytes) return;
    const std::string& name = _openElements.back().name;
    if (name != "p" && name != "span") return;
    std::string& to = _cue->text;
    if (_openElements.back().preservesSpace) {
      to += text;
      return;
    }
    for (const char each : text) {
      const bool isBlank = each == ' ' || each == '\t' || each == '\n' || each == '\r';
      if (isBlank && (to.empty() || to.back() == ' ' || to.back() == '\n')) continue;
      to += isBlank ? ' ' : each;
    }
  }

  void _breakLine() { _cue->text += '\n'; }

  void _endCue(const OpenElement& element) {
    SubtitleCue cue = *std::exchange(_cue, std::nullopt);
    if (!(element.end > element.begin)) return;
    trim(cue);
    if (cue.isEmpty()) return;
    cue.start = element.begin;
    cue.duration =
        std::isfinite(element.end) ? element.end - element.begin : SubtitleCue::kUntilNext;
    bound(cue);
    _cues.push_back(std::move(cue));
  }

  TTMLClock _clock;
  double _width = 0;
  double _height = 0;
  double _columns = 32;
  double _rows = 15;
  std::map<std::string, Style> _styles;
  std::map<std::string, Style> _regions;
  std::string _region;  // the region that was opened last
  std::vector<OpenElement> _openElements;
  std::optional<SubtitleCue> _cue;  // of the open paragraph
  std::vector<std::size_t> _spans;  // indices of the open spans of `_cue`
  std::vector<SubtitleCue> _cues;
};

}  // namespace

bool isTTML(std::string_view beginning) {
  constexpr std::size_t kEnough = 4096;
  beginning = trimmed(beginning.substr(0, kEnough));
  if (beginning.starts_with("\xef\xbb\xbf")) beginning.remove_prefix(3);
  if (!beginning.starts_with('<')) return false;
  for (std::size_t at = beginning.find("tt"); at != std::string_view::npos;
       at = beginning.find("tt", at + 1)) {
    const bool begins = at > 0 && (beginning[at - 1] == '<' || beginning[at - 1] == ':');
    const char next = at + 2 < beginning.size() ? beginning[at + 2] : '\0';
    if (begins && (next == ' ' || next == '>' || next == '\n' || next == '\r' || next == '\t'))
      return true;
  }
  return false;
}

std::vector<SubtitleCue> cuesOfTTML(std::string_view text) {
  if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
  return TTMLReader().read(text);
}

}  // namespace media
