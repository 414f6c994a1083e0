#include "streaming/playback/loading/PreloadHint.h"

#include <utility>

namespace streaming {

void PreloadHint::want(const Segment& segment, const Start& start) {
  if (_resource == segment.resource) return;
  drop();
  _resource = segment.resource;
  auto arrival = std::make_shared<Arrival>();
  _arrival = arrival;
  SegmentFetch::Handlers handlers;
  handlers.began = [arrival](TrackPiece piece) {
    if (arrival->taker) return arrival->taker->began(std::move(piece));
    arrival->piece = std::move(piece);
  };
  handlers.ended = [arrival](std::optional<SegmentFetch::Failure> failure) {
    if (arrival->taker) return arrival->taker->ended(std::move(failure));
    arrival->hasEnded = true;
    arrival->failure = std::move(failure);
  };
  _fetch = start(std::move(handlers));
  _fetch->start();
}

std::unique_ptr<SegmentFetch> PreloadHint::take(const Segment& segment,
                                                SegmentFetch::Handlers handlers) {
  const bool isSame = _fetch && _resource == segment.resource;
  // Request a failed part again, now that it is listed.
  if (!isSame || _arrival->failure) {
    drop();
    return nullptr;
  }
  _arrival->taker = std::move(handlers);
  return std::move(_fetch);
}

void PreloadHint::deliver() {
  const auto arrival = std::exchange(_arrival, nullptr);
  if (!arrival || !arrival->taker) return;
  // Copy the handlers: `ended` may destroy them.
  const auto taker = *arrival->taker;
  if (arrival->piece) taker.began(*std::exchange(arrival->piece, std::nullopt));
  if (arrival->hasEnded) taker.ended(arrival->failure);
}

void PreloadHint::drop() {
  _fetch.reset();
  _arrival.reset();
  _resource = {};
}

}  // namespace streaming
