#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Bytes.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// A position that advances with the clock.
struct RunningPosition {
  double seconds = 0;  ///< the position at `since`
  platform::TimePoint since{};
  double rate = 0;

  double at(platform::TimePoint now) const {
    return seconds + rate * platform::secondsFromDuration(now - since);
  }
};

/// Everything that MPRIS clients show. A copy is passed from the main thread to the service thread.
struct NowPlayingState {
  enum class Status { Stopped, Paused, Playing };

  /// If false, nothing is published and the other members have no meaning.
  bool isEligible = false;
  Status status = Status::Stopped;

  /// Number of the track; changes with each track. 0: nothing is playing.
  std::uint64_t track = 0;
  // Valid UTF-8; empty: none.
  std::string title;
  std::string artist;
  std::string album;
  std::optional<std::int32_t> trackNumber;
  std::optional<double> duration;  ///< seconds
  std::shared_ptr<const platform::Bytes> artwork;
  std::string artworkType;

  RunningPosition position;
  /// The rate while playing.
  double rate = 1;
  double volume = 1;

  /// Whether commands are accepted, and whether seeking is possible.
  bool canControl = false;
  bool canSeek = false;

  double positionAt(platform::TimePoint now) const {
    const double seconds = std::max(0.0, position.at(now));
    return duration ? std::min(seconds, *duration) : seconds;
  }
};

}  // namespace box
