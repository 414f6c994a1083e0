#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace box {

/// A text that belongs to a stretch of the item's time line.
struct SubtitleCue {
  static constexpr double kUntilNext = -1;
  double start = 0;              ///< seconds
  double duration = kUntilNext;  ///< seconds; kUntilNext: to the beginning of the next cue
  std::string text;              ///< plain, lines parted by line feeds
  friend bool operator==(const SubtitleCue&, const SubtitleCue&) = default;
};

/// The subtitles of one load, as far as they are known, by position: whoever draws a picture asks
/// for the text of the picture's time, so that texts come, stay and go with the pictures at every
/// rate, and after every seek.
///
/// There are those that come with the media, whether they are shown or not, those that lie in the
/// pictures, and those of a resource beside the media.
///
/// Bounds: so many cues of each, the earliest go first; a text of so many bytes.
/// Threads: any.
class SubtitleCues {
 public:
  static constexpr std::size_t kCueLimit = 20000;
  static constexpr std::size_t kTextLimit = 4000;
  enum class Source { None, Media, Pictures, Beside };

  /// Lines of all cues of that time, in the order of their beginnings; empty for none.
  std::string textAt(double seconds) const;

  // For the engine.
  void show(Source source);
  /// With the media; one that is there already changes nothing.
  void add(SubtitleCue cue);
  /// Those that came with the media go.
  void clear();
  /// The same for those of the pictures.
  void addOfPictures(SubtitleCue cue);
  void clearThoseOfPictures();
  void setBeside(std::vector<SubtitleCue> cues);

 private:
  void _addTo(std::vector<SubtitleCue>& cues, SubtitleCue cue);

  mutable std::mutex _mutex;
  Source _source = Source::None;
  // By their beginnings.
  std::vector<SubtitleCue> _cues;
  std::vector<SubtitleCue> _ofPictures;
  std::vector<SubtitleCue> _beside;
};

/// What is left of Pango markup, or of markup like it, when only the words are wanted.
std::string plainTextOfMarkup(std::string_view markup);

}  // namespace box
