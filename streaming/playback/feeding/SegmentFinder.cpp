#include "streaming/playback/feeding/SegmentFinder.h"

#include <algorithm>
#include <cmath>

#include "streaming/playback/TrackLookup.h"

namespace streaming {
namespace {

constexpr double kWalkTolerance = 1e-3;
constexpr double kMaxSegmentGap = 0.25;

std::shared_ptr<const Representation> sameIn(const Track& track,
                                             const std::shared_ptr<const Representation>& wanted) {
  if (!wanted) return nullptr;
  for (const auto& each : track.representations)
    if (each->id == wanted->id) return each;
  return nullptr;
}

}  // namespace

const Period* SegmentFinder::_periodOf(const Presentation& presentation,
                                       const TrackPiece& piece) const {
  const Period* byTime = periodAt(presentation, piece.segment.start);
  const auto has = [&](const Period& period) {
    return std::any_of(period.tracks.begin(), period.tracks.end(), [&](const Track& track) {
      return track.kind == _kind && sameIn(track, piece.representation);
    });
  };
  if (!piece.representation || (byTime && has(*byTime))) return byTime;
  for (const Period& period : presentation.periods)
    if (has(period)) return &period;
  return byTime;
}

SegmentFinder::Source SegmentFinder::_source(const Track& track,
                                             const std::shared_ptr<const Representation>& current,
                                             double from) {
  IndexStore& indexes = _host.indexes();
  const auto currentNow = sameIn(track, current);
  const auto currentIndex = currentNow ? indexes.index(*currentNow) : nullptr;
  RepresentationPicker::Situation situation;
  situation.ahead = std::max(0.0, from - _host.position());
  situation.sinceStart = std::max(0.0, from - _host.startPosition());
  situation.target = kMaxBufferSeconds;
  if (currentIndex && !currentIndex->isComplete()) {
    if (const auto last = currentIndex->last(_host.clock().now())) {
      situation.target = std::clamp(last->end() - _host.position(), 1.0, kMaxBufferSeconds);
      situation.segmentDuration = last->duration;
    }
  }
  while (auto chosen = _picker.pick(track, currentNow, situation)) {
    if (const auto failure = indexes.failure(*chosen)) {
      _error = failure;
      _picker.exclude(*chosen);
      continue;
    }
    auto index = indexes.index(*chosen);
    const bool isCurrent = currentNow && chosen->id == currentNow->id;
    if (index && (isCurrent || !indexes.isOutdated(*chosen)))
      return {Step::Kind::Segment, std::move(chosen), std::move(index)};
    if (index)
      indexes.requestUpdate(chosen);
    else
      indexes.load(chosen);
    if (indexes.failure(*chosen)) continue;
    // Continue with the current representation while the new index is loading.
    if (currentIndex && !_picker.isExcluded(*currentNow) && !isCurrent)
      return {Step::Kind::Segment, currentNow, currentIndex};
    return {Step::Kind::Wait, std::move(chosen), nullptr};
  }
  return {Step::Kind::NoRepresentation, nullptr, nullptr};
}

SegmentFinder::Step SegmentFinder::_segmentIn(const Source& source,
                                              const std::optional<TrackPiece>& tail,
                                              double from) const {
  Step step;
  step.representation = source.representation;
  auto segment = tail ? source.index->after(tail->segment) : source.index->at(from);
  if (!segment && !source.index->isComplete()) {
    // The segment was removed from the live window.
    const auto first = source.index->first(_host.clock().now());
    if (first && first->start > from + kWalkTolerance) segment = first;
  }
  if (!segment) {
    step.kind = source.index->isComplete() ? Step::Kind::End : Step::Kind::Wait;
    return step;
  }
  step.kind = Step::Kind::Segment;
  step.availableFrom = segment->availableFrom;
  if (tail) {
    step.isDiscontinuous = segment->discontinuity != tail->segment.discontinuity ||
                           std::abs(segment->start - tail->segment.end()) > kMaxSegmentGap;
  }
  step.segment = std::move(*segment);
  return step;
}

SegmentFinder::Step SegmentFinder::next(const std::string& trackID,
                                        const std::optional<TrackPiece>& tail, double from) {
  const auto presentation = _host.presentation();
  const Period* period = tail ? _periodOf(*presentation, *tail) : periodAt(*presentation, from);
  const Track* like = nullptr;
  bool isFirstPeriod = true;
  if (tail) from = tail->segment.end();
  while (period) {
    const Track* track = similarTrack(*period, _kind, trackID, like);
    const auto end = endOf(*presentation, *period);
    const Period* following = periodAfter(*presentation, *period);
    Step step;
    step.kind = Step::Kind::End;
    if (track && !track->representations.empty()) {
      const Source source = _source(*track, tail ? tail->representation : nullptr, from);
      if (source.kind != Step::Kind::Segment) {
        step.kind = source.kind;
        step.representation = source.representation;
        return step;
      }
      step = _segmentIn(source, isFirstPeriod ? tail : std::nullopt, from);
      if (!isFirstPeriod) step.isDiscontinuous = true;
      const bool isAfterEnd =
          step.kind == Step::Kind::Segment && end && step.segment.start >= *end - kWalkTolerance;
      if (isAfterEnd) step.kind = Step::Kind::End;
      // The next period starts here, so this period gets no more segments.
      const bool hasEnded = following && from >= following->start - kMaxSegmentGap;
      if (step.kind == Step::Kind::Wait && !hasEnded)
        _host.indexes().requestUpdate(source.representation);
      if (step.kind == Step::Kind::Wait && hasEnded) step.kind = Step::Kind::End;
      like = track;
    }
    if (step.kind == Step::Kind::Wait && _host.manifestError()) {
      _error = _host.manifestError();
      step.kind = Step::Kind::NoRepresentation;
    }
    if (step.kind != Step::Kind::End) return step;
    if (!following) {
      if (!presentation->isLive || !presentation->reload || !step.representation ||
          !step.representation->segments)
        return step;
      // An update may add a period.
      _host.indexes().requestUpdate(step.representation);
      step.kind = Step::Kind::Wait;
      return step;
    }
    period = following;
    from = following->start;
    isFirstPeriod = false;
  }
  return {};
}

SegmentFinder::Step SegmentFinder::load(const std::string& trackID, double from) {
  Step step;
  const auto presentation = _host.presentation();
  const Period* period = periodAt(*presentation, from);
  const Track* track = period ? similarTrack(*period, _kind, trackID, nullptr) : nullptr;
  if (!track || track->representations.empty()) {
    step.kind = Step::Kind::NoRepresentation;
    return step;
  }
  const Source source = _source(*track, nullptr, from);
  step.kind = source.kind;
  step.representation = source.representation;
  return step;
}

void SegmentFinder::clearFailures(const std::string& trackID, double from) {
  _picker.clearExcluded();
  const auto presentation = _host.presentation();
  const Period* period = periodAt(*presentation, from);
  const Track* track = period ? similarTrack(*period, _kind, trackID, nullptr) : nullptr;
  if (!track) return;
  for (const auto& each : track->representations) _host.indexes().clearFailure(*each);
}

}  // namespace streaming
