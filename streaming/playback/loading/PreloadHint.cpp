#include "streaming/playback/loading/PreloadHint.h"

#include <utility>

namespace streaming {

void PreloadHint::request(const Segment& segment, const Start& start) {
  if (_resource == segment.resource) return;
  cancel();
  _resource = segment.resource;
  auto pending = std::make_shared<PendingEvents>();
  _pending = pending;
  SegmentFetch::Handlers handlers;
  handlers.began = [pending](TrackPiece piece) {
    if (pending->handlers) return pending->handlers->began(std::move(piece));
    pending->piece = std::move(piece);
  };
  handlers.ended = [pending](std::optional<SegmentFetch::Failure> failure) {
    if (pending->handlers) return pending->handlers->ended(std::move(failure));
    pending->hasEnded = true;
    pending->failure = std::move(failure);
  };
  _fetch = start(std::move(handlers));
  _fetch->start();
}

std::unique_ptr<SegmentFetch> PreloadHint::take(const Segment& segment,
                                                SegmentFetch::Handlers handlers) {
  const bool isSame = _fetch && _resource == segment.resource;
  // Request a failed part again, now that it is listed.
  if (!isSame || _pending->failure) {
    cancel();
    return nullptr;
  }
  _pending->handlers = std::move(handlers);
  return std::move(_fetch);
}

void PreloadHint::deliver() {
  const auto pending = std::exchange(_pending, nullptr);
  if (!pending || !pending->handlers) return;
  // Copy the handlers: `ended` may destroy them.
  const auto handlers = *pending->handlers;
  if (pending->piece) handlers.began(*std::exchange(pending->piece, std::nullopt));
  if (pending->hasEnded) handlers.ended(pending->failure);
}

void PreloadHint::cancel() {
  _fetch.reset();
  _pending.reset();
  _resource = {};
}

}  // namespace streaming
