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

/// The known subtitles of one load, by their times. The screen queries the cues for the time of
/// each picture that it draws, so that texts match the picture at every rate and after every seek.
///
/// Three sources have a list of cues each: text streams of the media, captions in the pictures, and
/// an external resource. One source is shown at a time.
///
/// Styled texts are rendered for the pictures as they play. The newest renderings of the shown
/// source are kept.
///
/// Limits: kCueLimit cues and kByteLimit bytes for each source. The earliest cues are dropped
/// first; of an external resource the latest. kRenderingLimit renderings and
/// kRenderingByteLimit bytes of them. Each cue is limited by bound().
/// Threads: any.
///
/// An observer is called for every change except of the styles, in order, on a thread that makes a
/// change, without a lock held. It must not change the cues.
class SubtitleCues {
 public:
  static constexpr std::size_t kCueLimit = 20000;
  static constexpr std::size_t kByteLimit = std::size_t{48} << 20;
  static constexpr std::size_t kRenderingLimit = 8;
  static constexpr std::size_t kRenderingByteLimit = std::size_t{24} << 20;
  enum class Source { None, Media, Captions, External };
  using Cues = std::vector<std::shared_ptr<const SubtitleCue>>;

  struct Change {
    enum class Kind {
      Show,           ///< `source` is shown
      Add,            ///< adds `cues` of text streams
      Clear,          ///< removes the cues of text streams
      AddCaptions,    ///< adds `cues` of captions
      ClearCaptions,  ///< removes the cues of captions
      SetExternal,    ///< replaces the cues of the external resource
      AddExternal,    ///< adds `cues` of the external resource
      AddRendering,   ///< adds `cues` as renderings of `source`
      Destroyed,      ///< the object was destroyed
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

  /// A number that is unique in the process. Never 0.
  std::uint64_t identity() const { return _identity; }

  /// Returns the cues at that time, by their order and their starts, and after them the newest
  /// rendering for it.
  /// None is empty.
  Cues at(double seconds) const;
  /// Returns the lines of all cues at that time.
  std::string textAt(double seconds) const;
  /// Returns the styles that the sender has set for all cues; may be null.
  std::shared_ptr<const SubtitleStyles> styles() const;

  // For the engine.
  void show(Source source);
  void setStyles(std::shared_ptr<const SubtitleStyles> styles);
  /// Adds a cue of a text stream, unless it is there already.
  void add(SubtitleCue cue);
  /// Removes the cues of text streams.
  void clear();
  void addCaption(SubtitleCue cue);
  void clearCaptions();
  void setExternal(std::vector<SubtitleCue> cues);
  void addExternal(std::vector<SubtitleCue> cues);
  /// Adds a rendering, which may be empty. At each time, the newest one is shown. Ignored unless
  /// `source` is shown. A change of the source, or of its cues with clear() or setExternal(),
  /// removes all renderings.
  void addRendering(Source source, SubtitleCue cue);

 private:
  struct Store {
    Cues cues;  // by start
    std::size_t bytes = 0;
  };
  void _addTo(Store& store, Change::Kind kind, SubtitleCue cue);
  void _addExternal(Change::Kind kind, std::vector<SubtitleCue> more);
  void _queueChange(Change::Kind kind, Cues cues = {});
  void _notify(std::unique_lock<std::mutex> lock);

  const std::uint64_t _identity;
  const Observer _observer;
  mutable std::mutex _mutex;
  Source _source = Source::None;
  std::shared_ptr<const SubtitleStyles> _styles;
  Store _media;
  Store _captions;
  Store _external;
  std::deque<std::shared_ptr<const SubtitleCue>> _renderings;  // the newest last
  std::deque<Change> _pendingChanges;
  bool _isNotifying = false;
};

}  // namespace media
