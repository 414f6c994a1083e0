#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ui/scene/Geometry.h"

namespace media {

enum class TextEdge { None, Uniform, DropShadow, Raised, Depressed };

/// How text looks. Members that are not set are inherited; at the top the screen's defaults apply.
struct SubtitleLook {
  std::optional<platform::Color> color;
  std::optional<platform::Color> background;  ///< behind the letters
  std::optional<double> size;                 ///< relative to the inherited size
  std::optional<bool> bold;
  std::optional<bool> italic;
  std::optional<bool> underline;
  std::optional<TextEdge> edge;  ///< only for a whole cue

  /// Overrides members with those set in `over`.
  void put(const SubtitleLook& over);
  friend bool operator==(const SubtitleLook&, const SubtitleLook&) = default;
};

/// A marked range of a cue's text, in bytes. Spans may be nested; an inner span comes after its
/// outer span.
struct SubtitleSpan {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string element;               ///< such as "b", "c" or "v"; style rules select by it
  std::vector<std::string> classes;  ///< without dots
  std::string annotation;            ///< of a "v" element: the speaker
  SubtitleLook look;
  friend bool operator==(const SubtitleSpan&, const SubtitleSpan&) = default;
};

/// Where a cue is drawn. Lengths are fractions of the picture; the origin is its upper left corner.
struct CueLayout {
  enum class Alignment { Start, Center, End, Left, Right };
  enum class Anchor { Top, Middle, Bottom };

  std::optional<double> left;   ///< unset: centred, with the screen's default width
  std::optional<double> width;  ///< set together with `left`
  Alignment alignment = Alignment::Center;
  /// The edge of the text that is at `y`.
  Anchor anchor = Anchor::Bottom;
  std::optional<double> y;  ///< unset: at the lower edge, or as `line` says
  /// A line number: 0 is the first line, -1 the last.
  std::optional<int> line;
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

  bool isEmpty() const { return text.empty() && images.empty(); }
  friend bool operator==(const SubtitleCue&, const SubtitleCue&) = default;
};

/// Limits the sizes of the text, its spans and its images. Clamps spans to the text, at character
/// boundaries. Images beyond kImageByteLimit are removed.
void bound(SubtitleCue& cue);
/// Removes white space at both ends and adapts the spans.
void trim(SubtitleCue& cue);
std::size_t imageBytesOf(const SubtitleCue& cue);
/// Returns an estimate of the bytes of the whole cue.
std::size_t bytesOf(const SubtitleCue& cue);

}  // namespace media
