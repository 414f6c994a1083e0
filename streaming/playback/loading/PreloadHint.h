#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "streaming/playback/loading/SegmentFetch.h"

namespace streaming {

/// Requests the part in a preload hint, so that the server can send it as soon as it is encoded. At
/// most one request runs. Transfer thread only.
class PreloadHint {
 public:
  using Start = std::function<std::unique_ptr<SegmentFetch>(SegmentFetch::Handlers handlers)>;
  /// Requests `segment` with `start`, unless it was requested before.
  void request(const Segment& segment, const Start& start);
  /// The fetch of `segment` if it was the hint; otherwise cancels the hint and returns null. Call
  /// deliver() afterwards.
  std::unique_ptr<SegmentFetch> take(const Segment& segment, SegmentFetch::Handlers handlers);
  /// Passes the events so far to the handlers of take().
  void deliver();
  void cancel();

 private:
  /// The events before take().
  struct PendingEvents {
    std::optional<TrackPiece> piece;
    bool hasEnded = false;
    std::optional<SegmentFetch::Failure> failure;
    std::optional<SegmentFetch::Handlers> handlers;
  };

  Resource _resource;
  std::unique_ptr<SegmentFetch> _fetch;
  std::shared_ptr<PendingEvents> _pending;
};

}  // namespace streaming
