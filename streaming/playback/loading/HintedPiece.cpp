#include "streaming/playback/loading/HintedPiece.h"

#include <utility>

namespace streaming {

void HintedPiece::want(const Segment& segment, const Start& start) {
  if (_resource == segment.resource) return;
  drop();
  _resource = segment.resource;
  auto arrival = std::make_shared<Arrival>();
  _arrival = arrival;
  PieceFetch::Handlers handlers;
  handlers.began = [arrival](TrackPiece piece) {
    if (arrival->taker) return arrival->taker->began(std::move(piece));
    arrival->piece = std::move(piece);
  };
  handlers.ended = [arrival](std::optional<PieceFetch::Failure> failure) {
    if (arrival->taker) return arrival->taker->ended(std::move(failure));
    arrival->hasEnded = true;
    arrival->failure = std::move(failure);
  };
  _fetch = start(std::move(handlers));
  _fetch->start();
}

std::unique_ptr<PieceFetch> HintedPiece::take(const Segment& segment,
                                              PieceFetch::Handlers handlers) {
  const bool isSame = _fetch && _resource == segment.resource;
  // Request a failed part again, now that it is listed.
  if (!isSame || _arrival->failure) {
    drop();
    return nullptr;
  }
  _arrival->taker = std::move(handlers);
  return std::move(_fetch);
}

void HintedPiece::deliver() {
  const auto arrival = std::exchange(_arrival, nullptr);
  if (!arrival || !arrival->taker) return;
  // Copy the handlers: `ended` may destroy them.
  const auto taker = *arrival->taker;
  if (arrival->piece) taker.began(*std::exchange(arrival->piece, std::nullopt));
  if (arrival->hasEnded) taker.ended(arrival->failure);
}

void HintedPiece::drop() {
  _fetch.reset();
  _arrival.reset();
  _resource = {};
}

}  // namespace streaming
