#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "box/relay/MediaTimeline.h"
#include "box/relay/RelayItem.h"
#include "platform/foundation/Date.h"
#include "platform/media/MediaFacts.h"

namespace box {

/// What the relay knows of an item at the moment.
struct TimelineInput {
  double position = 0;                                 ///< seconds of the engine's stream time
  std::optional<double> duration = {};                 ///< seconds; none: unknown, or live
  std::string url;                                     ///< of the item, as the sender wrote it
  std::shared_ptr<const MediaTimeline> timeline = {};  ///< null: the item is one resource
  /// All variants' that were played; `timeline` may be one of them, or stand alone.
  std::vector<std::shared_ptr<const MediaTimeline>> variants = {};
  std::vector<RelayedRange> ranges = {};
  std::optional<double> observedBitrate = {};  ///< bits a second
};

/// What follows from it for the item's facts, where the engine itself cannot tell.
struct TimelineFacts {
  std::optional<platform::Date> playbackDate;
  /// The same, and where dates do not lead, counted from the nearest that there is.
  std::optional<platform::Date> estimatedDate;
  std::vector<platform::TimeRange> loaded;  ///< apart from each other, in order
  /// The window of a live playlist, up to three target durations before its end, where the engine
  /// starts and no segment is missing yet. None for what is not live, or has no segments to go by.
  std::optional<platform::TimeRange> liveWindow;
  /// Seconds until there is enough ahead of the position (ten seconds, or all of the rest) at the
  /// bandwidth observed; 0: there is. None while the media's size or the bandwidth is unknown.
  std::optional<double> likelyToKeepUpTime;

  static TimelineFacts of(const TimelineInput& input);
};

}  // namespace box
