#include "streaming/manifest/hls/HLSSegmentIndex.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace streaming {
namespace {

/// Tolerance for rounded durations.
constexpr double kHLSTolerance = 0.001;
/// Maximum gap between consecutive segments. With a larger gap the number belongs to a differently
/// numbered representation.
constexpr double kMaxGap = 0.25;

}  // namespace

HLSSegmentIndex::HLSSegmentIndex(std::vector<Segment> segments, std::vector<Segment> parts,
                                 std::optional<Segment> hint, bool isComplete,
                                 std::uint64_t discontinuityShift)
    : _segments(std::move(segments)),
      _parts(std::move(parts)),
      _hint(std::move(hint)),
      _isComplete(isComplete),
      _discontinuityShift(discontinuityShift) {}

const Segment* HLSSegmentIndex::numbered(std::uint64_t number) const {
  if (_segments.empty() || number < _segments.front().number) return nullptr;
  const std::uint64_t index = number - _segments.front().number;
  return index < _segments.size() ? &_segments[static_cast<std::size_t>(index)] : nullptr;
}

std::optional<Segment> HLSSegmentIndex::_part(std::uint64_t number, std::uint64_t part,
                                              const Segment& previous) const {
  const auto found =
      std::lower_bound(_parts.begin(), _parts.end(), std::pair(number, part),
                       [](const Segment& each, const auto& wanted) {
                         return std::pair(each.number, each.part.value_or(0)) < wanted;
                       });
  if (found == _parts.end() || found->number != number || found->part != part) return std::nullopt;
  if (std::abs(found->start - previous.end()) > kMaxGap) return std::nullopt;
  return *found;
}

bool HLSSegmentIndex::_isNext(std::uint64_t number) const {
  return _segments.empty() || number == _segments.back().number + 1;
}

std::optional<Segment> HLSSegmentIndex::_byTime(double time) const {
  const auto isEarlier = [](const Segment& segment, double wanted) {
    return segment.start < wanted;
  };
  const auto found =
      std::lower_bound(_segments.begin(), _segments.end(), time - kMaxGap, isEarlier);
  if (found != _segments.end()) return *found;
  for (const Segment& part : _parts)
    if (part.start >= time - kMaxGap && _isNext(part.number)) return part;
  return std::nullopt;
}

std::optional<Segment> HLSSegmentIndex::at(double time) const {
  const auto found = std::upper_bound(
      _segments.begin(), _segments.end(), time + kHLSTolerance,
      [](double wanted, const Segment& segment) { return wanted < segment.end(); });
  if (found != _segments.end()) return *found;
  // At the live edge, parts of an incomplete segment may contain the time.
  for (const Segment& part : _parts)
    if (time + kHLSTolerance < part.end() && !numbered(part.number)) return part;
  return std::nullopt;
}

std::optional<Segment> HLSSegmentIndex::after(const Segment& previous) const {
  const std::uint64_t next = previous.number + 1;
  if (previous.part) {
    if (auto part = _part(previous.number, *previous.part + 1, previous)) return part;
    // More parts may follow.
    if (_isNext(previous.number)) return std::nullopt;
    // The following parts were removed from the playlist.
    const Segment* const whole = numbered(previous.number);
    if (whole && whole->start <= previous.start + kHLSTolerance &&
        previous.end() + kMaxGap < whole->end())
      return *whole;
  }
  const Segment* const same = numbered(previous.number);
  const bool isContinued = (same && same->resource == previous.resource &&
                            same->discontinuity == previous.discontinuity) ||
                           (_isNext(next) && !_segments.empty() &&
                            std::abs(_segments.back().end() - previous.end()) <= kMaxGap);
  if (const Segment* const following = numbered(next)) {
    if (isContinued || std::abs(following->start - previous.end()) <= kMaxGap) return *following;
  } else if (isContinued && _isNext(next)) {
    Segment end = previous;
    end.duration = _segments.back().end() - previous.start;
    return _part(next, 0, end);
  }
  // The segment was removed, renumbered, or belongs to another representation: search by time.
  return _byTime(previous.end());
}

std::optional<Segment> HLSSegmentIndex::preloadHintAfter(const Segment& previous) const {
  if (!_hint || std::abs(_hint->start - previous.end()) > kMaxGap) return std::nullopt;
  const bool isNextPart =
      _hint->number == previous.number && previous.part && _hint->part == *previous.part + 1;
  const bool isFirstPart = _hint->number == previous.number + 1 && _hint->part == 0U;
  return isNextPart || isFirstPart ? _hint : std::nullopt;
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
