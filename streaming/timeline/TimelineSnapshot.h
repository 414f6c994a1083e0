#pragma once

#include <memory>
#include <optional>

#include "platform/foundation/Date.h"
#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/timeline/PlayableWindow.h"

namespace streaming {

/// A snapshot of the manifest, playlist and segments of a presentation. May be used on any thread.
struct TimelineSnapshot {
  std::shared_ptr<const Presentation> manifest;  ///< as parsed; null: not loaded yet
  std::shared_ptr<const Presentation>
      presentation;                              ///< the manifest completed by its media playlists
  std::shared_ptr<const SegmentIndex> segments;  ///< of the leading track in the last period
  std::shared_ptr<const SegmentIndex> firstSegments;  ///< of the leading track in the first period
  std::shared_ptr<const MediaPlaylist> playlist;      ///< HLS: of the leading track

  PlayableWindow window(platform::Date now) const;
  std::optional<platform::Date> dateAt(double position) const;
  std::optional<double> positionOf(platform::Date date) const;
};

}  // namespace streaming
