#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/media/MediaFacts.h"

namespace sim {

/// How one piece of media behaves when it is played. All times are seconds; positions are on the
/// item's own time line.
///
///     library.add("http://host/a.mp4", {.loadDelay = 0.5, .duration = 10, .stalls = {{4, 1}}});
struct MediaScript {
  struct Stall {
    double position = 0;
    double length = 1;
  };
  struct Failure {
    double position = 0;
    platform::Error error = {};
  };
  struct Buffering {
    double afterLoad = 0;
    int percent = 0;
  };
  /// Something that the player cannot load itself: it asks the item, waits, and goes by the answer.
  struct Request {
    enum class Kind { Resource, Key };
    /// Asked for when playback comes by, which then stalls; nothing: while it loads, which then
    /// takes so much longer.
    std::optional<double> position = {};
    std::string url = {};
    Kind kind = Kind::Resource;
    /// What making the key request's data fails with.
    std::optional<platform::Error> keyFailure = {};
  };
  struct TimedMetadata {
    double position = 0;  ///< from here to the next one's
    std::vector<platform::TimedMetadataItem> items = {};
  };

  /// From load to ready, or to the failure.
  double loadDelay = 0.1;
  double duration = 100;
  /// Set: a live stream of unknown duration, of which so much can be sought. It begins at the
  /// newest point.
  std::optional<double> liveWindow = {};
  /// Of position 0; for media that carry dates.
  std::optional<platform::Date> startDate = {};
  std::string title = {};
  std::vector<platform::MediaTrack> tracks = {};
  std::vector<platform::MediaSelectionGroup> selectionGroups = {};
  std::vector<platform::MediaChapter> chapters = {};
  std::vector<TimedMetadata> timedMetadata = {};  ///< by position
  /// Each happens once a load, when playback comes by.
  std::vector<Stall> stalls = {};
  std::vector<Buffering> buffering = {};  ///< by time, during the load
  double seekDelay = 0;
  /// Those of the load one after the other. A redirect leads to the media at its URL in the
  /// library: at load they are played instead, later it is enough that they are there.
  std::vector<Request> requests = {};
  std::optional<platform::Error> loadFailure = {};
  std::optional<Failure> failure = {};
};

class MediaEngine;

/// What there is to play, by URL, and the engines that play it. Owned by the box in memory. Main
/// thread.
class MediaLibrary {
 public:
  /// Adds or replaces. Loads in progress keep what they began with.
  void add(std::string url, MediaScript script);
  void remove(std::string_view url);
  /// Null when there is nothing at the URL.
  std::shared_ptr<const MediaScript> find(std::string_view url) const;

  /// The engines that are alive, oldest first.
  const std::vector<MediaEngine*>& engines() const { return _engines; }

 private:
  friend class MediaEngine;
  std::map<std::string, std::shared_ptr<const MediaScript>, std::less<>> _scripts;
  std::vector<MediaEngine*> _engines;
};

}  // namespace sim
