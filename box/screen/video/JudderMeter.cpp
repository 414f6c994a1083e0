#include "box/screen/video/JudderMeter.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace box {

void JudderMeter::record(const ShownPicture& picture, platform::TimePoint at,
                         platform::Duration refresh) {
  const std::optional<ShownPicture> last = _last;
  const double step = platform::secondsFromDuration(at - _lastAt);
  _last = picture;
  _lastAt = at;
  ++_pictures;
  if (!last || last->video != picture.video || last->due < 0) return;
  const double wanted = picture.due - last->due;
  if (wanted <= 0 || wanted > kMaxStepSeconds || step > kMaxStepSeconds) return;
  _dropped += picture.missed;
  // A frame rate that does not match the display deviates by up to half a refresh.
  const double refreshes = (step - wanted) / std::max(platform::secondsFromDuration(refresh), 1e-3);
  if (refreshes > 0.75) _repeated += static_cast<std::uint64_t>(std::floor(refreshes + 0.25));
  const double deviation = std::abs(step - wanted) * 1000;
  if (_deviations.size() < kSteps) {
    _deviations.push_back(deviation);
  } else {
    _deviations[_next] = deviation;
    _next = (_next + 1) % kSteps;
  }
}

JudderStatistics JudderMeter::statistics() const {
  JudderStatistics result{_pictures, _dropped, _repeated, 0, 0};
  if (_deviations.empty()) return result;
  std::vector<double> sorted = _deviations;
  result.averageMilliseconds =
      std::accumulate(sorted.begin(), sorted.end(), 0.0) / static_cast<double>(sorted.size());
  const auto rank = sorted.begin() + static_cast<std::ptrdiff_t>((sorted.size() - 1) * 99 / 100);
  std::nth_element(sorted.begin(), rank, sorted.end());
  result.percentile99Milliseconds = *rank;
  return result;
}

}  // namespace box
