#include "streaming/timeline/TimelineSnapshot.h"

#include "streaming/timeline/Dates.h"

namespace streaming {

PlayableWindow TimelineSnapshot::window(platform::Date now) const {
  if (!presentation) return {};
  return PlayableWindow::of(*presentation, firstSegments.get(), segments.get(), playlist.get(),
                            now);
}

std::optional<platform::Date> TimelineSnapshot::dateAt(double position) const {
  if (!presentation) return std::nullopt;
  if (!presentation->dates.empty()) return streaming::dateAt(presentation->dates, position);
  if (!presentation->availabilityStart) return std::nullopt;
  return platform::Date{presentation->availabilityStart->secondsSince1970 + position};
}

std::optional<double> TimelineSnapshot::positionOf(platform::Date date) const {
  if (!presentation) return std::nullopt;
  if (!presentation->dates.empty()) return streaming::positionOf(presentation->dates, date);
  if (!presentation->availabilityStart) return std::nullopt;
  return date.secondsSince1970 - presentation->availabilityStart->secondsSince1970;
}

}  // namespace streaming
