#include "streaming/timeline/PlayableWindow.h"

#include <algorithm>
#include <cmath>

namespace streaming {
namespace {

/// The distance to the end of a live presentation, in target durations. It leaves time to load the
/// next segments.
constexpr double kLiveDistance = 3;
/// The assumed segment duration when the manifest has none.
constexpr double kDefaultSegmentDuration = 4;

double distanceFromEnd(const Presentation& presentation, const MediaPlaylist* playlist,
                       double lastDuration) {
  if (presentation.suggestedDelay && *presentation.suggestedDelay > 0)
    return *presentation.suggestedDelay;
  double target = playlist ? playlist->targetDuration : presentation.targetDuration;
  if (!(target > 0)) target = lastDuration > 0 ? lastDuration : kDefaultSegmentDuration;
  return kLiveDistance * target;
}

}  // namespace

PlayableWindow PlayableWindow::of(const Presentation& presentation,
                                  const SegmentIndex* firstSegments, const SegmentIndex* segments,
                                  const MediaPlaylist* playlist, platform::Date now) {
  PlayableWindow window;
  const bool isComplete = segments && segments->isComplete();
  window.isLive = playlist ? playlist->isLive && !isComplete : presentation.isLive;
  window.duration = presentation.duration;
  std::optional<Segment> first;
  std::optional<Segment> last;
  if (segments) last = segments->last(now);
  if (firstSegments) first = firstSegments->first(now);
  // The last period may have no segments yet, and the first one may have lost all of them.
  if (!last && firstSegments) last = firstSegments->last(now);
  if (!first && segments) first = segments->first(now);
  if (!window.isLive) {
    if (!window.duration && last) window.duration = last->end();
    if (window.duration) {
      const double start = first && playlist ? std::min(first->start, *window.duration) : 0;
      window.range = platform::TimeRange{start, *window.duration - start};
    }
    return window;
  }
  window.duration.reset();
  if (!first || !last) return window;
  double start = first->start;
  double end = last->end() - distanceFromEnd(presentation, playlist, last->duration);
  if (!playlist && presentation.availabilityStart) {
    const double live = now.secondsSince1970 - presentation.availabilityStart->secondsSince1970;
    if (presentation.suggestedDelay) end = live - *presentation.suggestedDelay;
    end = std::min(end, last->end());
    if (presentation.timeShiftDepth) start = std::max(start, live - *presentation.timeShiftDepth);
  }
  end = std::max(end, start);
  window.range = platform::TimeRange{start, end - start};
  window.edge = end;
  const auto held = playlist ? playlist->partHoldBack ? playlist->partHoldBack : playlist->holdBack
                             : std::nullopt;
  if (held) window.edge = std::clamp(last->end() - *held, start, last->end());
  // The range includes the edge, so that a seek to the edge is accepted.
  window.range->duration = std::max(window.range->duration, window.edge - start);
  return window;
}

double PlayableWindow::clamp(double position) const {
  if (!range) return std::max(0.0, position);
  return std::clamp(position, range->start, range->start + range->duration);
}

double defaultStart(const PlayableWindow& window, std::optional<double> startOffset) {
  const double first = window.range ? window.range->start : 0;
  if (startOffset && window.range) {
    const double last = window.isLive ? window.edge : first + window.range->duration;
    const double wanted = *startOffset < 0 ? last + *startOffset : first + *startOffset;
    return window.clamp(wanted);
  }
  if (window.isLive) return window.edge;
  return first;
}

}  // namespace streaming
