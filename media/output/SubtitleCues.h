#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

class SubtitleStyles;

/// The subtitles of one load, as far as they are known, by position: whoever draws a picture asks
/// for the cues of the picture's time, so that texts come, stay and go with the pictures at every
/// rate, and after every seek.
///
/// There are those that come with the media, whether they are shown or not, those that lie in the
/// pictures, and those of a resource beside the media.
///
/// Bounds: so many cues of each, and so many bytes; the earliest go first, of those beside the
/// media the latest. Each is bounded in itself. Threads: any.
///
/// An observer is told of every change but that of the styles, in their order, on a thread that
/// makes one, without a lock held. It must not change the cues.
class SubtitleCues {
 public:
  static constexpr std::size_t kCueLimit = 20000;
  static constexpr std::size_t kByteLimit = std::size_t{48} << 20;
  enum class Source { None, Media, Pictures, Beside };
  using Cues = std::vector<std::shared_ptr<const SubtitleCue>>;

  struct Change {
    enum class Kind {
      Show,             ///< `source`
      Add,              ///< `cues` that come with the media
      Clear,            ///< those go
      AddOfPictures,    ///< `cues` that lie in the pictures
      ClearOfPictures,  ///< those go
      SetBeside,        ///< `cues` take the place of those beside the media
      AddBeside,        ///< `cues` come to those beside the media
      Gone,             ///< so is the object
    };
    std::uint64_t identity = 0;
    Kind kind = Kind::Show;
    Source source = Source::None;
    Cues cues = {};
  };
  using Observer = std::function<void(const Change&)>;

  explicit SubtitleCues(Observer observer = nullptr);
  ~SubtitleCues();
  SubtitleCues(const SubtitleCues&) = delete;
  SubtitleCues& operator=(const SubtitleCues&) = delete;

  /// A number that no other object in the process has. Never 0.
  std::uint64_t identity() const { return _identity; }

  /// Cues of that time, in the order of their beginnings. None of them is empty.
  Cues at(double seconds) const;
  /// Lines of all of them; empty for none.
  std::string textAt(double seconds) const;
  /// What somebody wishes all of them to look like; may be null.
  std::shared_ptr<const SubtitleStyles> styles() const;

  // For the engine.
  void show(Source source);
  void setStyles(std::shared_ptr<const SubtitleStyles> styles);
  /// With the media; one that is there already changes nothing.
  void add(SubtitleCue cue);
  /// Those that came with the media go.
  void clear();
  /// The same for those of the pictures.
  void addOfPictures(SubtitleCue cue);
  void clearThoseOfPictures();
  void setBeside(std::vector<SubtitleCue> cues);
  void addBeside(std::vector<SubtitleCue> cues);

 private:
  struct Store {
    Cues cues;  // by their beginnings
    std::size_t bytes = 0;
  };
  void _addTo(Store& store, Change::Kind kind, SubtitleCue cue);
  void _addBeside(Change::Kind kind, std::vector<SubtitleCue> more);
  void _note(Change::Kind kind, Cues cues = {});
  void _tell(std::unique_lock<std::mutex> lock);

  const std::uint64_t _identity;
  const Observer _observer;
  mutable std::mutex _mutex;
  Source _source = Source::None;
  std::shared_ptr<const SubtitleStyles> _styles;
  Store _ofMedia;
  Store _ofPictures;
  Store _beside;
  std::deque<Change> _untold;
  bool _telling = false;
};

}  // namespace media
