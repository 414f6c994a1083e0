#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// A position that runs by itself: nothing has to tick for it.
struct RunningPosition {
  double seconds = 0;  ///< at `since`
  platform::TimePoint since{};
  double rate = 0;

  double at(platform::TimePoint now) const {
    return seconds + rate * platform::secondsFromDuration(now - since);
  }
};

/// What the displays show, complete and on its own: it crosses from the main thread to that of the
/// bus.
struct NowPlayingState {
  enum class Status { Stopped, Paused, Playing };

  /// Otherwise the rest means nothing, and there is nothing on the bus.
  bool isEligible = false;
  Status status = Status::Stopped;

  /// Counts what plays: another number is another thing. 0: nothing.
  std::uint64_t track = 0;
  // Valid texts; empty: none.
  std::string title;
  std::string artist;
  std::string album;
  std::optional<std::int32_t> trackNumber;
  std::optional<double> duration;  ///< seconds
  std::shared_ptr<const platform::Bytes> artwork;
  std::string artworkType;

  RunningPosition position;
  /// What it runs at when it runs.
  double rate = 1;
  /// Of what plays, 0 to 1.
  double volume = 1;

  /// Whether somebody takes commands, and whether they may seek.
  bool canControl = false;
  bool canSeek = false;

  double positionAt(platform::TimePoint now) const {
    const double seconds = std::max(0.0, position.at(now));
    return duration ? std::min(seconds, *duration) : seconds;
  }
};

}  // namespace box
