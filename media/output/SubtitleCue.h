#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ui/scene/Geometry.h"

namespace media {

/// The font size of subtitles without a size of their own, as a fraction of the video's height.
inline constexpr double kSubtitleFontSize = 0.045;

enum class TextEdge { None, Uniform, DropShadow, Raised, Depressed };

/// The side of a line on which ruby and emphasis marks are drawn. In vertical text, "before" is
/// the right side. Outside: before the first line, after any other line.
enum class AnnotationSide { Before, After, Outside };

/// How text looks. Members that are not set are inherited; at the top the screen's defaults apply.
struct SubtitleLook {
  std::optional<platform::Color> color;
  std::optional<platform::Color> background;  ///< behind the letters
  std::optional<double> size;                 ///< relative to the inherited size
  std::optional<bool> bold;
  std::optional<bool> italic;
  std::optional<bool> underline;
  std::optional<bool> isHidden;      ///< takes its space, but is not drawn
  std::optional<TextEdge> edge;      ///< only for a whole cue
  std::optional<char32_t> emphasis;  ///< a mark beside each character; 0: none
  std::optional<AnnotationSide> annotationSide;

  /// Overrides members with those set in `over`.
  void put(const SubtitleLook& over);
  friend bool operator==(const SubtitleLook&, const SubtitleLook&) = default;
};

/// The look of a span before or after the time stamps of a WebVTT text.
struct SpanMoment {
  enum class Kind { Past, Future };
  Kind kind = Kind::Past;
  /// When the past begins or the future ends, in seconds after the start of the cue.
  double time = 0;
  SubtitleLook look;
  bool isAt(double secondsOfCue) const {
    return kind == Kind::Past ? secondsOfCue >= time : secondsOfCue < time;
  }
  friend bool operator==(const SpanMoment&, const SpanMoment&) = default;
};

/// A marked range of a cue's text, in bytes. Spans may be nested; an inner span comes after its
/// outer span.
struct SubtitleSpan {
  std::size_t begin = 0;
  std::size_t end = 0;
  /// Such as "b", "c" or "v"; style rules select by it. Empty: a text between time stamps.
  std::string element;
  std::vector<std::string> classes;  ///< without dots
  std::string annotation;            ///< of "v": the speaker; of "lang": the language
  std::string ruby;  ///< small text beside the range; `look` is the look of this text
  SubtitleLook look;
  std::vector<SpanMoment> moments;  ///< at most one of each kind
  friend bool operator==(const SubtitleSpan&, const SubtitleSpan&) = default;
};

enum class CueAnchor { Top, Middle, Bottom };

/// A box that cues share: their texts are stacked in it. Lengths are fractions of the picture.
struct CueRegion {
  double left = 0;
  double width = 1;
  double y =
      0;  ///< of the point of the box that `anchor` names: 0 its upper edge, 1 its lower edge
  double anchor = 0;
  double height = 1;
  double lines = 0;  ///< if greater, the height is that of so many lines
  /// The place of the texts in the box; in vertical text, "top" is the edge of the first line.
  CueAnchor texts = CueAnchor::Bottom;
  double paddingBefore = 0;  ///< between the edge of the first line and the texts
  double paddingAfter = 0;
  bool scrolls = false;  ///< a new text moves the others smoothly
  std::optional<platform::Color> background;
  friend bool operator==(const CueRegion&, const CueRegion&) = default;
};

/// Where a cue is drawn. Lengths are fractions of the picture; the origin is its upper left corner.
///
/// Vertical text has its lines from the top to the bottom: `left` and `width` are then the upper
/// end and the length of the lines, and `y` is a distance from the left edge.
struct CueLayout {
  enum class Alignment { Start, Center, End, Left, Right };
  using Anchor = CueAnchor;
  /// Vertical lines follow each other to the left or to the right.
  enum class Writing { Horizontal, VerticalToLeft, VerticalToRight };

  Writing writing = Writing::Horizontal;
  std::optional<double> left;   ///< unset: centred, with the screen's default width
  std::optional<double> width;  ///< set together with `left`
  Alignment alignment = Alignment::Center;
  /// Aligns lines with the longest line, whose place is set by `alignment`.
  std::optional<Alignment> rowAlignment;
  /// The edge of the text that is at `y`; "top" is the left edge of vertical text.
  Anchor anchor = Anchor::Bottom;
  std::optional<double> y;  ///< unset: at the edge of the last line, or as `line` says
  /// A line number: 0 is the first line, -1 the last.
  std::optional<int> line;
  /// At the edge of the last line, this cue stands below earlier cues, not above them.
  bool readsDownwards = false;
  std::optional<CueRegion> region;            ///< if set, `y`, `anchor` and `line` are ignored
  std::optional<platform::Color> background;  ///< behind the whole block of lines
  double shear = 0;                           ///< horizontal shift for each unit upwards
  friend bool operator==(const CueLayout&, const CueLayout&) = default;
};

/// A bitmap on a canvas that covers the video.
struct CueImage {
  int canvasWidth = 0;
  int canvasHeight = 0;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;  ///< 0xAARRGGBB, not premultiplied, top row first
  friend bool operator==(const CueImage&, const CueImage&) = default;
};

/// A text or bitmaps for a time range of the item.
struct SubtitleCue {
  static constexpr double kUntilNext = -1;
  static constexpr std::size_t kImageByteLimit = std::size_t{16} << 20;  ///< of one cue
  double start = 0;                                                      ///< seconds
  double duration = kUntilNext;  ///< seconds; kUntilNext: until the start of the next cue
  std::string text{};            ///< plain text; lines end with line feeds
  std::string identifier{};
  SubtitleLook look{};  ///< of the whole cue
  std::vector<SubtitleSpan> spans{};
  CueLayout layout{};
  std::vector<CueImage> images{};
  bool endsAtNext = false;  ///< ends at the start of the next cue, if that is before its own end
  /// The order of cues at the same time. Cues of the same number are in the order of their starts.
  std::int32_t order = 0;

  bool isEmpty() const { return text.empty() && images.empty(); }
  friend bool operator==(const SubtitleCue&, const SubtitleCue&) = default;
};

/// Limits the sizes of the text, its spans and its images. Clamps spans to the text, at character
/// boundaries. Images beyond kImageByteLimit are removed.
void bound(SubtitleCue& cue);
/// Removes white space at both ends and adapts the spans.
void trim(SubtitleCue& cue);
/// Sets the looks of the spans to those of a time, and removes the moments.
void settleMoments(SubtitleCue& cue, double seconds);
/// Returns how many moments of the cue have begun or ended at that time.
int passedMoments(const SubtitleCue& cue, double seconds);
std::size_t imageBytesOf(const SubtitleCue& cue);
/// Returns an estimate of the bytes of the whole cue.
std::size_t bytesOf(const SubtitleCue& cue);

}  // namespace media
