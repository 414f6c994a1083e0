#include "streaming/manifest/HLSSegmentIndex.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace streaming {
namespace {

/// Of sums of durations that playlists round.
constexpr double kHLSTolerance = 0.001;
/// A segment with the next number follows only if it begins where the one before ends: segments of
/// another representation may be numbered in their own way.
constexpr double kMostGap = 0.25;

}  // namespace

HLSSegmentIndex::HLSSegmentIndex(std::vector<Segment> segments, std::vector<Segment> parts,
                                 bool isComplete)
    : _segments(std::move(segments)), _parts(std::move(parts)), _isComplete(isComplete) {}

const Segment* HLSSegmentIndex::numbered(std::uint64_t number) const {
  if (_segments.empty() || number < _segments.front().number) return nullptr;
  const std::uint64_t index = number - _segments.front().number;
  return index < _segments.size() ? &_segments[static_cast<std::size_t>(index)] : nullptr;
}

std::optional<Segment> HLSSegmentIndex::_edgePart(std::uint64_t number, std::uint64_t part) const {
  const auto found = std::find_if(_parts.begin(), _parts.end(), [&](const Segment& each) {
    return each.number == number && each.part == part;
  });
  return found == _parts.end() ? std::nullopt : std::optional(*found);
}

std::optional<Segment> HLSSegmentIndex::at(double time) const {
  const auto found = std::upper_bound(
      _segments.begin(), _segments.end(), time + kHLSTolerance,
      [](double wanted, const Segment& segment) { return wanted < segment.end(); });
  if (found != _segments.end()) return *found;
  // At the edge there are parts of a segment that is not there yet.
  for (const Segment& part : _parts)
    if (time + kHLSTolerance < part.end() && !numbered(part.number)) return part;
  return std::nullopt;
}

std::optional<Segment> HLSSegmentIndex::after(const Segment& previous) const {
  std::uint64_t next = previous.number + 1;
  if (previous.part) {
    if (auto part = _edgePart(previous.number, *previous.part + 1)) return part;
    const Segment* const whole = numbered(previous.number);
    // More parts may come.
    if (!whole)
      return previous.number < (_segments.empty() ? 0 : _segments.front().number)
                 ? at(previous.end())
                 : std::nullopt;
    if (previous.end() + kMostGap < whole->end()) return *whole;
  }
  const Segment* const following = numbered(next);
  if (following && std::abs(following->start - previous.end()) <= kMostGap) return *following;
  if (!following && !_segments.empty() && next == _segments.back().number + 1) {
    if (std::abs(_segments.back().end() - previous.end()) <= kMostGap) return _edgePart(next, 0);
  }
  // Slid out of the window, numbered anew, or of another representation: the time decides.
  const auto found =
      std::lower_bound(_segments.begin(), _segments.end(), previous.end() - kMostGap,
                       [](const Segment& segment, double time) { return segment.start < time; });
  if (found == _segments.end()) return std::nullopt;
  return *found;
}

std::optional<Segment> HLSSegmentIndex::first(platform::Date) const {
  if (!_segments.empty()) return _segments.front();
  return _parts.empty() ? std::nullopt : std::optional(_parts.front());
}

std::optional<Segment> HLSSegmentIndex::last(platform::Date) const {
  if (!_parts.empty() && !numbered(_parts.back().number)) return _parts.back();
  return _segments.empty() ? std::nullopt : std::optional(_segments.back());
}

}  // namespace streaming
