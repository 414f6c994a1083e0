#pragma once

#include <memory>
#include <optional>

#include "platform/foundation/Date.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/timeline/PlayableWindow.h"

namespace streaming {

/// What is known of the time line of a presentation at one time. Any thread.
struct KnownTimeline {
  std::shared_ptr<const Presentation> manifest;       ///< as it was read; null: not yet
  std::shared_ptr<const Presentation> presentation;   ///< with what media playlists say
  std::shared_ptr<const SegmentIndex> segments;       ///< of the leading track, last period
  std::shared_ptr<const SegmentIndex> firstSegments;  ///< the same in the first period
  std::shared_ptr<const MediaPlaylist> playlist;      ///< of the leading track, in HLS

  PlayableWindow window(platform::Date now) const;
  std::optional<platform::Date> dateAt(double position) const;
  std::optional<double> positionOf(platform::Date date) const;
};

}  // namespace streaming
