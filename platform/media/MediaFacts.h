#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/media/MediaSelection.h"
#include "platform/media/MediaTrack.h"
#include "platform/media/TimeRange.h"
#include "platform/media/TimedMetadataList.h"

namespace platform {

/// The properties of the loaded item. References are valid until the next call into the engine or
/// its next callback.
struct MediaFacts {
  double duration = TVSDurationIndefinite;  ///< seconds
  bool live = false;
  std::vector<TimeRange> seekable;
  std::vector<TimeRange> loaded;
  bool likelyToKeepUp = false;
  bool bufferFull = false;
  bool bufferEmpty = true;
  std::optional<int> bufferingPercent;       ///< 0 to 100 while the buffer fills
  std::optional<double> likelyToKeepUpTime;  ///< seconds from now
  std::optional<Date> playbackDate;          ///< of the current position, if the media have dates
  std::optional<Date> estimatedDate;
  std::vector<MediaTrack> tracks;
  std::vector<MediaSelectionGroup> selectionGroups;
  TimedMetadataList timedMetadata;     ///< at the current position
  std::vector<MediaChapter> chapters;  ///< in order of start
  std::string title;
  /// The video output shows a still image, because the item has a cover and no video.
  bool hasCover = false;
};

}  // namespace platform
