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

/// How letters look. What is not set stays as it is around them, at last as the screen likes it.
struct SubtitleLook {
  std::optional<platform::Color> color;
  std::optional<platform::Color> background;  ///< behind the letters
  std::optional<double> size;                 ///< 1 is the size around them
  std::optional<bool> bold;
  std::optional<bool> italic;
  std::optional<bool> underline;
  std::optional<TextEdge> edge;  ///< of a whole cue only

  /// What `over` sets replaces what is set here.
  void put(const SubtitleLook& over);
  friend bool operator==(const SubtitleLook&, const SubtitleLook&) = default;
};

/// A stretch of a cue's text, in bytes, that was marked. Spans may lie in each other; the inner one
/// comes later.
struct SubtitleSpan {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string element;               ///< such as "b", "c" or "v"; rules find the span by these
  std::vector<std::string> classes;  ///< without dots
  std::string annotation;            ///< of a voice: who speaks
  SubtitleLook look;
  friend bool operator==(const SubtitleSpan&, const SubtitleSpan&) = default;
};

/// Where a cue's text stands. Lengths are shares of the picture, from its upper left corner.
struct CueLayout {
  enum class Alignment { Start, Center, End, Left, Right };
  enum class Anchor { Top, Middle, Bottom };

  std::optional<double> left;   ///< none: in the middle, as wide as the screen likes
  std::optional<double> width;  ///< goes with `left`
  Alignment alignment = Alignment::Center;
  /// The upper edge, middle or lower edge of the text is at `y`.
  Anchor anchor = Anchor::Bottom;
  std::optional<double> y;  ///< none: at the lower edge, or where `line` says
  /// Counted in lines of text: 0 is the first from above, -1 the last.
  std::optional<int> line;
  friend bool operator==(const CueLayout&, const CueLayout&) = default;
};

/// A picture of a text, on a canvas that covers the video's picture.
struct CueImage {
  int canvasWidth = 0;
  int canvasHeight = 0;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;  ///< 0xAARRGGBB, not premultiplied, rows from above
  friend bool operator==(const CueImage&, const CueImage&) = default;
};

/// A text, or pictures of one, that belongs to a stretch of the item's time line.
struct SubtitleCue {
  static constexpr double kUntilNext = -1;
  double start = 0;              ///< seconds
  double duration = kUntilNext;  ///< seconds; kUntilNext: to the beginning of the next cue
  std::string text{};            ///< plain, lines parted by line feeds
  std::string identifier{};
  SubtitleLook look{};  ///< of the whole
  std::vector<SubtitleSpan> spans{};
  CueLayout layout{};
  std::vector<CueImage> images{};

  bool isEmpty() const { return text.empty() && images.empty(); }
  friend bool operator==(const SubtitleCue&, const SubtitleCue&) = default;
};

/// Cuts what nobody could read or hold in memory: the text, its spans, its images. Spans are made
/// to lie within the text, between characters.
void bound(SubtitleCue& cue);
/// Without blanks and line feeds at both ends.
void trim(SubtitleCue& cue);
/// Bytes that its images take.
std::size_t imageBytesOf(const SubtitleCue& cue);
/// Bytes that all of it takes, nearly.
std::size_t bytesOf(const SubtitleCue& cue);

}  // namespace media
