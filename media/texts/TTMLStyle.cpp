#include "media/texts/TTMLStyle.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "media/output/SubtitleColor.h"
#include "media/output/SubtitleStyles.h"

namespace media {
namespace {

using Alignment = CueLayout::Alignment;
using Writing = CueLayout::Writing;

constexpr int kMaxStyleDepth = 16;
constexpr std::size_t kMaxStyleReferences = 16;
constexpr std::size_t kMaxReferenceBytes = 1024;
constexpr std::size_t kMaxImageNameBytes = 256;
constexpr double kMaxLength = 100;
/// A shear of 100 % is a right angle.
constexpr double kMaxShear = 50;

template <typename T>
void replaceSet(std::optional<T>& value, const std::optional<T>& over) {
  if (over) value = over;
}

std::string_view takeWord(std::string_view& text) {
  text = trimmed(text);
  const std::size_t end = std::min(text.find_first_of(" \t\r\n"), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end);
  return word;
}

std::optional<TTMLStyle::Point> pointOf(std::string_view text, const TTMLRoot& root) {
  const double em = 1 / root.rows;
  const auto x = takeTTMLLength(text, root, TTMLAxis::Horizontal, em);
  const auto y = takeTTMLLength(text, root, TTMLAxis::Vertical, em);
  if (!x || !y) return std::nullopt;
  return TTMLStyle::Point(*x, *y);
}

std::optional<std::array<double, 4>> paddingOf(std::string_view text, const TTMLRoot& root) {
  std::array<double, 4> values{};
  std::size_t count = 0;
  while (count < values.size() && !trimmed(text).empty()) {
    const auto axis = count % 2 == 0 ? TTMLAxis::Vertical : TTMLAxis::Horizontal;
    std::string_view again = text;
    const auto value = takeTTMLLength(text, root, axis, 1 / root.rows);
    if (!value) return std::nullopt;
    // A single value, or a missing one, applies to both axes.
    if (count == 0)
      values[1] = values[3] =
          takeTTMLLength(again, root, TTMLAxis::Horizontal, 1 / root.rows).value_or(*value);
    values[count++] = std::max(*value, 0.0);
  }
  if (count == 0) return std::nullopt;
  if (count < 3) values[2] = values[0];
  if (count == 2 || count == 3) values[3] = values[1];
  return values;
}

std::optional<TTMLStyle::FontSize> fontSizeOf(std::string_view text, const TTMLRoot& root) {
  // The last of two sizes is the height.
  text = trimmed(text);
  if (const std::size_t space = text.rfind(' '); space != std::string_view::npos)
    text.remove_prefix(space + 1);
  std::string_view rest = text;
  const auto number = takeNumber(rest);
  if (!number || !(*number > 0)) return std::nullopt;
  if (rest == "%") return TTMLStyle::FontSize{std::min(*number / 100, kMaxLength), true};
  if (rest == "em") return TTMLStyle::FontSize{std::min(*number, kMaxLength), true};
  const auto length = takeTTMLLength(text, root, TTMLAxis::Vertical, 0);
  if (!length) return std::nullopt;
  return TTMLStyle::FontSize{*length, false};
}

void readEmphasis(std::string_view text, SubtitleLook& look) {
  bool isOpen = false;
  std::string_view shape;
  std::optional<char32_t> mark;
  while (!(text = trimmed(text)).empty()) {
    const std::string_view word = takeWord(text);
    if (word == "none") mark = 0;
    if (word == "open") isOpen = true;
    if (word == "auto" || word == "filled" || word == "open") shape = shape.empty() ? "dot" : shape;
    if (word == "circle" || word == "dot" || word == "sesame") shape = word;
    if (word == "before") look.annotationSide = AnnotationSide::Before;
    if (word == "after") look.annotationSide = AnnotationSide::After;
    if (word == "outside") look.annotationSide = AnnotationSide::Outside;
  }
  if (shape == "circle") mark = isOpen ? U'\u25CB' : U'\u25CF';
  if (shape == "dot") mark = isOpen ? U'\u25E6' : U'\u2022';
  if (shape == "sesame") mark = isOpen ? U'\uFE46' : U'\uFE45';
  if (mark) look.emphasis = mark;
}

std::optional<AnnotationSide> sideOf(std::string_view text) {
  if (text == "before") return AnnotationSide::Before;
  if (text == "after") return AnnotationSide::After;
  if (text == "outside") return AnnotationSide::Outside;
  return std::nullopt;
}

void readWriting(std::string_view value, TTMLStyle& style) {
  if (value == "tb" || value == "tbrl") style.writing = Writing::VerticalToLeft;
  if (value == "tblr") style.writing = Writing::VerticalToRight;
  if (value == "lrtb" || value == "lr") style.writing = Writing::Horizontal;
  if (value == "rltb" || value == "rl") {
    style.writing = Writing::Horizontal;
    style.rightToLeft = true;
  }
}

std::optional<double> shearOf(std::string_view text) {
  const auto number = takeNumber(text);
  if (!number || text != "%") return std::nullopt;
  const double angle = std::clamp(*number, -kMaxShear, kMaxShear) / 100 * std::numbers::pi / 2;
  return std::tan(angle);
}

std::optional<double> shareOfKeyword(std::string_view text) {
  if (text == "left" || text == "top" || text == "0%") return 0;
  if (text == "center" || text == "50%") return 0.5;
  if (text == "right" || text == "bottom" || text == "100%") return 1;
  return std::nullopt;
}

std::optional<CueAnchor> displayAlignOf(std::string_view text) {
  if (text == "before") return CueAnchor::Top;
  if (text == "center") return CueAnchor::Middle;
  if (text == "after" || text == "justify") return CueAnchor::Bottom;
  return std::nullopt;
}

std::optional<TTMLStyle::Bidi> bidiOf(std::string_view text) {
  using Bidi = TTMLStyle::Bidi;
  if (text == "normal") return Bidi::Normal;
  if (text == "embed") return Bidi::Embed;
  if (text == "bidiOverride") return Bidi::Override;
  if (text == "isolate") return Bidi::Isolate;
  return std::nullopt;
}

/// The attributes that are not only a look.
bool readBoxAttribute(std::string_view name, std::string_view value, const TTMLRoot& root,
                      TTMLStyle& style) {
  if (name == "origin") {
    replaceSet(style.origin, pointOf(value, root));
  } else if (name == "extent") {
    replaceSet(style.extent, pointOf(value, root));
  } else if (name == "position") {
    style.position = value.substr(0, kMaxImageNameBytes);
  } else if (name == "padding") {
    replaceSet(style.padding, paddingOf(value, root));
  } else if (name == "displayAlign") {
    replaceSet(style.displayAlign, displayAlignOf(value));
  } else if (name == "writingMode") {
    readWriting(value, style);
  } else if (name == "opacity") {
    if (const auto opacity = takeNumber(value)) style.opacity = std::clamp(*opacity, 0.0, 1.0);
  } else if (name == "display") {
    style.isDisplayed = value != "none";
  } else if (name == "backgroundImage") {
    if (value.size() <= kMaxImageNameBytes && value != "none") style.image = value;
  } else if (name == "backgroundImageHorizontal") {
    replaceSet(style.imageX, shareOfKeyword(value));
  } else if (name == "backgroundImageVertical") {
    replaceSet(style.imageY, shareOfKeyword(value));
  } else {
    return false;
  }
  return true;
}

}  // namespace

void TTMLRoot::setExtent(std::string_view text) {
  const auto columnsOfPixels = takeNumber(text);
  if (!columnsOfPixels || !text.starts_with("px")) return;
  text.remove_prefix(2);
  const auto rowsOfPixels = takeNumber(text);
  if (!rowsOfPixels || !text.starts_with("px") || *columnsOfPixels < 1 || *rowsOfPixels < 1) return;
  width = *columnsOfPixels;
  height = *rowsOfPixels;
}

void TTMLRoot::setCellResolution(std::string_view text) {
  const double newColumns = takeNumber(text).value_or(0);
  const double newRows = takeNumber(text).value_or(0);
  if (newColumns < 1 || newRows < 1) return;
  columns = newColumns;
  rows = newRows;
}

std::optional<double> takeTTMLLength(std::string_view& text, const TTMLRoot& root, TTMLAxis axis,
                                     double em) {
  const auto number = takeNumber(text);
  if (!number) return std::nullopt;
  const std::string_view unit = text.substr(0, text.find_first_of(" \t\r\n"));
  text.remove_prefix(unit.size());
  const bool isHorizontal = axis == TTMLAxis::Horizontal;
  double value = NAN;
  if (unit == "%") value = *number / 100;
  if (unit == "px") value = *number / (isHorizontal ? root.width : root.height);
  if (unit == "c") value = *number / (isHorizontal ? root.columns : root.rows);
  if (unit == "em") value = *number * em / (isHorizontal ? root.aspectRatio() : 1);
  if (unit == "rw") value = *number / 100 * (isHorizontal ? 1 : root.aspectRatio());
  if (unit == "rh") value = *number / 100 / (isHorizontal ? root.aspectRatio() : 1);
  if (!std::isfinite(value)) return std::nullopt;
  return std::clamp(value, -kMaxLength, kMaxLength);
}

void TTMLStyle::put(const TTMLStyle& over) {
  look.put(over.look);
  replaceSet(fontSize, over.fontSize);
  replaceSet(alignment, over.alignment);
  replaceSet(rowAlignment, over.rowAlignment);
  replaceSet(writing, over.writing);
  replaceSet(rightToLeft, over.rightToLeft);
  replaceSet(shear, over.shear);
  replaceSet(displayAlign, over.displayAlign);
  replaceSet(origin, over.origin);
  replaceSet(extent, over.extent);
  replaceSet(position, over.position);
  replaceSet(padding, over.padding);
  replaceSet(bidi, over.bidi);
  replaceSet(ruby, over.ruby);
  replaceSet(opacity, over.opacity);
  replaceSet(isDisplayed, over.isDisplayed);
  replaceSet(image, over.image);
  replaceSet(imageX, over.imageX);
  replaceSet(imageY, over.imageY);
}

void TTMLStyle::inherit(const TTMLStyle& own, const TTMLRoot& root) {
  const double inherited = fontHeight(root);
  look.background.reset();
  displayAlign.reset();
  origin.reset();
  extent.reset();
  position.reset();
  padding.reset();
  bidi.reset();
  ruby.reset();
  opacity.reset();
  isDisplayed.reset();
  image.reset();
  const auto size = fontSize;
  put(own);
  fontSize = size;
  if (own.fontSize)
    fontSize = FontSize{
        std::min(own.fontSize->value * (own.fontSize->isRelative ? inherited : 1), kMaxLength),
        false};
}

double TTMLStyle::fontHeight(const TTMLRoot& root) const {
  const double cell = 1 / root.rows;
  return fontSize ? fontSize->value * (fontSize->isRelative ? cell : 1) : cell;
}

bool readTTMLAttribute(std::string_view name, std::string_view value, const TTMLRoot& root,
                       TTMLStyle& style) {
  value = trimmed(value);
  if (name == "color") {
    readDeclaration("color", value, style.look);
  } else if (name == "backgroundColor") {
    readDeclaration("background-color", value, style.look);
  } else if (name == "fontStyle") {
    readDeclaration("font-style", value, style.look);
  } else if (name == "fontShear" || name == "lineShear") {
    if (const auto shear = shearOf(value)) style.look.italic = *shear != 0;
  } else if (name == "fontWeight") {
    readDeclaration("font-weight", value, style.look);
  } else if (name == "textDecoration") {
    readDeclaration("text-decoration", value, style.look);
  } else if (name == "textOutline") {
    style.look.edge = value == "none" ? TextEdge::None : TextEdge::Uniform;
  } else if (name == "textShadow") {
    if (value != "none") style.look.edge = TextEdge::DropShadow;
  } else if (name == "fontSize") {
    replaceSet(style.fontSize, fontSizeOf(value, root));
  } else if (name == "textAlign") {
    replaceSet(style.alignment, alignmentOf(value));
  } else if (name == "multiRowAlign") {
    if (value != "auto") replaceSet(style.rowAlignment, alignmentOf(value));
  } else if (name == "textEmphasis") {
    readEmphasis(value, style.look);
  } else if (name == "rubyPosition") {
    replaceSet(style.look.annotationSide, sideOf(value));
  } else if (name == "ruby") {
    style.ruby = value.substr(0, kMaxImageNameBytes);
  } else if (name == "shear") {
    replaceSet(style.shear, shearOf(value));
  } else if (name == "direction") {
    style.rightToLeft = value == "rtl";
  } else if (name == "unicodeBidi") {
    replaceSet(style.bidi, bidiOf(value));
  } else if (name == "visibility") {
    style.look.isHidden = value == "hidden";
  } else {
    return readBoxAttribute(name, value, root, style);
  }
  return true;
}

void TTMLStyleSheet::add(const std::string& identifier, TTMLStyle own,
                         std::string_view references) {
  if (identifier.empty() || _entries.size() >= kMaxStyles) return;
  _entries[identifier] = {std::move(own), std::string(references.substr(0, kMaxReferenceBytes))};
}

TTMLStyle TTMLStyleSheet::styleOf(std::string_view references, const TTMLStyle& own) {
  TTMLStyle style;
  _putReferences(references, style, 0);
  style.put(own);
  return style;
}

/// Each style is resolved once, so that the work does not depend on the number of paths.
const TTMLStyle& TTMLStyleSheet::_resolved(Entry& entry, int depth) {
  if (entry.state != Entry::Open) return entry.style;
  entry.state = Entry::Resolving;
  TTMLStyle style;
  _putReferences(entry.references, style, depth);
  style.put(entry.style);
  entry.style = std::move(style);
  entry.state = Entry::Resolved;
  return entry.style;
}

void TTMLStyleSheet::_putReferences(std::string_view references, TTMLStyle& style, int depth) {
  if (depth > kMaxStyleDepth) return;
  for (std::size_t count = 0; count < kMaxStyleReferences; ++count) {
    const std::string_view name = takeWord(references);
    if (name.empty()) return;
    const auto found = _entries.find(name);
    if (found != _entries.end() && found->second.state != Entry::Resolving)
      style.put(_resolved(found->second, depth + 1));
  }
}

void placeInTTMLRegion(const TTMLStyle& style, CueLayout& layout) {
  const auto [width, height] = style.extent.value_or(TTMLStyle::Point(1, 1));
  auto [left, top] = style.origin.value_or(TTMLStyle::Point(0, 0));
  if (style.position) {
    // As in CSS, a percentage is of the space beside the box.
    std::string_view text = *style.position;
    std::array<double, 2> shares{0.5, 0.5};
    std::size_t axis = 0;
    while (!(text = trimmed(text)).empty() && axis < 2) {
      const std::string_view word = takeWord(text);
      std::string_view number = word;
      const auto keyword = shareOfKeyword(word);
      const auto value = keyword ? std::nullopt : takeNumber(number);
      if (word == "top" || word == "bottom") axis = 1;
      if (keyword) shares[axis] = *keyword;
      if (value && number == "%") shares[axis] = std::clamp(*value / 100, 0.0, 1.0);
      ++axis;
    }
    left = shares[0] * (1 - width);
    top = shares[1] * (1 - height);
  }
  CueRegion region;
  region.left = std::clamp(left, 0.0, 1.0);
  region.width = std::clamp(width, 0.0, 1 - region.left);
  region.y = std::clamp(top, 0.0, 1.0);
  region.height = std::clamp(height, 0.0, 1 - region.y);
  region.texts = style.displayAlign.value_or(CueAnchor::Top);
  if (!style.look.isHidden.value_or(false)) region.background = style.look.background;
  const bool isVertical = layout.writing != Writing::Horizontal;
  const double length = isVertical ? region.height : region.width;
  const double depth = isVertical ? region.width : region.height;
  const auto [before, end, after, start] = style.padding.value_or(std::array<double, 4>{});
  const bool fits = start + end < length && before + after < depth;
  layout.left = (isVertical ? region.y : region.left) + (fits ? start : 0);
  layout.width = length - (fits ? start + end : 0);
  region.paddingBefore = fits ? before : 0;
  region.paddingAfter = fits ? after : 0;
  layout.region = region;
}

}  // namespace media
