#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "streaming/playback/loading/PieceFetch.h"

namespace streaming {

/// Requests the part that a live playlist announces before the playlist names it, so that the
/// server sends it as soon as it is made. At most one request is under way. Transfer thread only.
class HintedPiece {
 public:
  using Start = std::function<std::unique_ptr<PieceFetch>(PieceFetch::Handlers handlers)>;
  /// Requests `segment` by `start`, unless that is under way, or has failed before.
  void want(const Segment& segment, const Start& start);
  /// The fetch of `segment`, if that is the one that was hinted at; else null, and the hint is
  /// dropped. After it deliver() is called.
  std::unique_ptr<PieceFetch> take(const Segment& segment, PieceFetch::Handlers handlers);
  /// Tells the handlers of the fetch that was taken what has come of it so far.
  void deliver();
  void drop();

 private:
  /// What has come of the fetch until it is taken.
  struct Arrival {
    std::optional<TrackPiece> piece;
    bool hasEnded = false;
    std::optional<PieceFetch::Failure> failure;
    std::optional<PieceFetch::Handlers> taker;
  };

  Resource _resource;
  std::unique_ptr<PieceFetch> _fetch;
  std::shared_ptr<Arrival> _arrival;
};

}  // namespace streaming
