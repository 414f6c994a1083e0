#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// The size of the pictures that subtitles are rendered for.
struct SubtitledPicture {
  int width = 0;  ///< coded pixels, upright
  int height = 0;
  double aspect = 1;  ///< width by height, as displayed

  friend bool operator==(const SubtitledPicture&, const SubtitledPicture&) = default;
};

/// A font file in the media.
struct AttachedFont {
  std::string name;
  std::string bytes;
};

/// Returns whether the text begins like a file of ASS or SSA.
bool isAss(std::string_view text);

/// Renders one document of ASS or SSA with libass.
///
/// Limits: kDocumentBytes for a header, a document and all events together, kEventLimit events;
/// of events at the same time kVisibleLimit, kVisibleBytes and kVisiblePixels, see
/// estimatedPixels(). Events that exceed a limit are left out. libass cannot cancel a rendering.
///
/// Threads: one at a time.
class AssRenderer {
 public:
  /// The largest canvas. A screen with more pixels enlarges the images.
  static constexpr int kCanvasWidth = 1920;
  static constexpr int kCanvasHeight = 1080;
  static constexpr std::size_t kDocumentBytes = std::size_t{16} << 20;
  static constexpr std::size_t kEventBytes = std::size_t{256} << 10;
  static constexpr int kEventLimit = 50000;
  /// libass searches the styles for each event.
  static constexpr int kStyleLimit = 2000;
  static constexpr int kVisibleLimit = 2000;
  static constexpr std::size_t kVisibleBytes = std::size_t{512} << 10;
  static constexpr double kVisiblePixels = 96e6;

  struct Rendering {
    /// The same events are visible at all times in [from, until).
    double from = 0;
    double until = 0;
    /// The images change within this range. `from` is the time of the rendering.
    bool isAnimated = false;
    bool hasChanged = true;  ///< since the last rendering
    std::vector<CueImage> images;
  };

  AssRenderer();
  ~AssRenderer();
  AssRenderer(const AssRenderer&) = delete;
  AssRenderer& operator=(const AssRenderer&) = delete;

  /// Reads styles and script info; add() adds the events.
  void readHeader(std::string_view header);
  /// Reads a file in UTF-8 with all events.
  void readDocument(std::string_view document);
  /// Makes a font available to this document.
  void addFont(const AttachedFont& font);
  /// Adds an event in the form of Matroska, in seconds. Returns false if it is known already or
  /// exceeds a limit.
  bool add(double start, double duration, std::string_view event);

  void setPicture(const SubtitledPicture& picture);
  /// Renders the events at that time. If nothing has changed and `always` is not set, the images
  /// are left out.
  Rendering render(double seconds, bool always);

 private:
  struct Library;
  void _findFonts();
  double _scale() const;

  const std::unique_ptr<Library> _library;
  int _canvasWidth = 0;
  int _canvasHeight = 0;
  int _pictureWidth = 0;
  int _pictureHeight = 0;
  std::size_t _bytes = 0;
  bool _hasNewFonts = true;
};

}  // namespace media
