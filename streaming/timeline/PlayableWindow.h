#pragma once

#include <memory>
#include <optional>

#include "platform/foundation/Date.h"
#include "platform/media/MediaFacts.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/Presentation.h"

namespace streaming {

/// What the newest manifest and the segments of one track say of where one can play.
struct PlayableWindow {
  bool isLive = false;
  std::optional<double> duration;            ///< none while it is live, or unknown
  std::optional<platform::TimeRange> range;  ///< none: there are no segments
  double edge = 0;                           ///< where a live presentation is begun

  /// `firstSegments` and `segments` are those of the leading track in the first and in the last
  /// period, `playlist` is theirs, of HLS; null where there is none. `now` is the server's time.
  static PlayableWindow of(const Presentation& presentation, const SegmentIndex* firstSegments,
                           const SegmentIndex* segments, const MediaPlaylist* playlist,
                           platform::Date now);
  /// The nearest position within the window.
  double clamp(double position) const;
};

/// Where to begin when nobody has said so: as the manifest says, at the edge, or at the beginning.
double defaultStart(const PlayableWindow& window, std::optional<double> startOffset);

}  // namespace streaming
