#pragma once

#include <memory>
#include <optional>

#include "platform/foundation/Date.h"
#include "platform/media/TimeRange.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/Presentation.h"

namespace streaming {

/// The range in which a presentation can be played at one time.
struct PlayableWindow {
  bool isLive = false;
  std::optional<double> duration;            ///< nullopt: live or unknown
  std::optional<platform::TimeRange> range;  ///< nullopt: there are no segments
  double edge = 0;                           ///< the start position of a live presentation

  /// `firstSegments` and `segments` belong to the leading track, in the first and in the last
  /// period. `playlist` is the media playlist of that track (HLS). All three may be null. `now` is
  /// the time of the server.
  static PlayableWindow of(const Presentation& presentation, const SegmentIndex* firstSegments,
                           const SegmentIndex* segments, const MediaPlaylist* playlist,
                           platform::Date now);
  /// The position within the range that is nearest to `position`.
  double clamp(double position) const;
};

/// The start position when the caller has set none: the offset of the manifest (EXT-X-START), the
/// live edge, or the beginning.
double defaultStart(const PlayableWindow& window, std::optional<double> startOffset);

}  // namespace streaming
