#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// The root container of a TTML document, which lengths refer to.
struct TTMLRoot {
  double width = 0;  ///< pixels; 0: not declared
  double height = 0;
  double columns = 32;  ///< cells
  double rows = 15;

  void setExtent(std::string_view text);
  void setCellResolution(std::string_view text);
  double aspectRatio() const { return width > 0 && height > 0 ? width / height : 16.0 / 9; }
};

enum class TTMLAxis { Horizontal, Vertical };

/// Removes a length in `%`, `px`, `c`, `em`, `rw` or `rh` from the beginning of `text` and returns
/// it as a fraction of the root container along `axis`. `em` is the font size as a fraction of the
/// height. Returns nullopt for a length that cannot be resolved.
std::optional<double> takeTTMLLength(std::string_view& text, const TTMLRoot& root, TTMLAxis axis,
                                     double em);

/// The style attributes of an element that are supported. Lengths are fractions of the root.
struct TTMLStyle {
  enum class Bidi { Normal, Embed, Override, Isolate };
  struct FontSize {
    double value = 1;
    bool isRelative = false;  ///< a multiple of the inherited size instead of a fraction
  };
  using Point = std::pair<double, double>;

  SubtitleLook look;  ///< without a size
  std::optional<FontSize> fontSize;
  std::optional<CueLayout::Alignment> alignment;
  std::optional<CueLayout::Alignment> rowAlignment;
  std::optional<CueLayout::Writing> writing;
  std::optional<bool> rightToLeft;
  std::optional<double> shear;
  // Not inherited by elements.
  std::optional<CueAnchor> displayAlign;
  std::optional<Point> origin;
  std::optional<Point> extent;
  std::optional<std::string> position;
  /// Before, end, after, start. Horizontal text has "end" at the right.
  std::optional<std::array<double, 4>> padding;
  std::optional<Bidi> bidi;
  std::optional<std::string> ruby;
  std::optional<double> opacity;
  std::optional<bool> isDisplayed;
  std::optional<std::string> image;
  std::optional<double> imageX;  ///< place in the box, 0 to 1
  std::optional<double> imageY;

  /// Overrides members with those set in `over`.
  void put(const TTMLStyle& over);
  /// Changes the style of an element to that of a child with the style `own`.
  void inherit(const TTMLStyle& own, const TTMLRoot& root);
  /// The font size as a fraction of the root's height.
  double fontHeight(const TTMLRoot& root) const;
};

/// Applies an attribute, named without a prefix. Returns false if it is unknown.
bool readTTMLAttribute(std::string_view name, std::string_view value, const TTMLRoot& root,
                       TTMLStyle& style);

/// The `style` elements of a document by their identifiers. They may refer to each other, in any
/// order.
///
/// Limits: the number of styles, and of references of a style.
class TTMLStyleSheet {
 public:
  static constexpr std::size_t kMaxStyles = 1000;

  void add(const std::string& identifier, TTMLStyle own, std::string_view references);
  /// Returns the style of an element with these references and own attributes.
  TTMLStyle styleOf(std::string_view references, const TTMLStyle& own);

 private:
  struct Entry {
    TTMLStyle style;
    std::string references;
    enum { Open, Resolving, Resolved } state = Open;
  };
  const TTMLStyle& _resolved(Entry& entry, int depth);
  void _putReferences(std::string_view references, TTMLStyle& style, int depth);

  std::map<std::string, Entry, std::less<>> _entries;
};

/// Places a text, whose writing is known, in the region that `style` describes.
void placeInTTMLRegion(const TTMLStyle& style, CueLayout& layout);

}  // namespace media
