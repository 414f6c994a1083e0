#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/media/MediaSelection.h"
#include "platform/media/MediaTrack.h"
#include "platform/media/TimedMetadataList.h"

namespace sim {

/// Describes how a media resource behaves during playback. All times are in seconds. Positions are
/// on the timeline of the item.
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
  /// A resource that the player cannot load itself. It requests the resource from the item and
  /// waits for the answer.
  struct Request {
    enum class Kind { Resource, Key };
    /// Requested when playback reaches this position, which stalls playback. Without a position it
    /// is requested during the load, which then takes longer.
    std::optional<double> position = {};
    std::string url = {};
    Kind kind = Kind::Resource;
    /// If set, makeStreamingContentKeyRequest() of the key request fails with this error.
    std::optional<platform::Error> keyFailure = {};
  };
  struct TimedMetadata {
    double position = 0;  ///< valid until the position of the next entry
    platform::TimedMetadataList items = {};
  };

  /// Time from the load to ready, or to the failure.
  double loadDelay = 0.1;
  double duration = 100;
  /// If set, a live stream of unknown duration with a seekable window of this length. Playback
  /// starts at the live edge.
  std::optional<double> liveWindow = {};
  /// The date of position 0, for media with dates.
  std::optional<platform::Date> startDate = {};
  std::string title = {};
  bool hasCover = false;
  std::vector<platform::MediaTrack> tracks = {};
  std::vector<platform::MediaSelectionGroup> selectionGroups = {};
  std::vector<platform::MediaChapter> chapters = {};
  std::vector<TimedMetadata> timedMetadata = {};  ///< by position
  /// Each stall happens once per load, when playback reaches its position.
  std::vector<Stall> stalls = {};
  std::vector<Buffering> buffering = {};  ///< by time, during the load
  double seekDelay = 0;
  /// Requests of the load are made one after the other. The target of a redirect must be in the
  /// library. A redirect during the load replaces the media; a later redirect does not.
  std::vector<Request> requests = {};
  std::optional<platform::Error> loadFailure = {};
  std::optional<Failure> failure = {};
};

class MediaEngine;

/// The available media by URL, and the engines that play them. Owned by the box. Main thread.
class MediaLibrary {
 public:
  /// Adds or replaces a script. Running loads keep theirs.
  void add(std::string url, MediaScript script);
  void remove(std::string_view url);
  /// Returns null for an unknown URL.
  std::shared_ptr<const MediaScript> find(std::string_view url) const;

  /// The existing engines, oldest first.
  const std::vector<MediaEngine*>& engines() const { return _engines; }

 private:
  friend class MediaEngine;
  std::map<std::string, std::shared_ptr<const MediaScript>, std::less<>> _scripts;
  std::vector<MediaEngine*> _engines;
};

}  // namespace sim
