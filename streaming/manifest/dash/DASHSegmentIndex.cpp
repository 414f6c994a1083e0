#include "streaming/manifest/dash/DASHSegmentIndex.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <utility>

#include "streaming/foundation/URL.h"

namespace streaming {
namespace {

constexpr double kDASHTolerance = 0.001;
constexpr unsigned kMaxWidth = 20;

double secondsOf(double units, const SegmentTiming& timing) { return units / timing.timescale; }

std::uint64_t countOf(double count) {
  constexpr auto kMaxCount = static_cast<double>(SegmentTiming::kUnbounded);
  if (!(count > 0)) return 0;
  return count >= kMaxCount ? SegmentTiming::kUnbounded : static_cast<std::uint64_t>(count);
}

void appendDigits(std::uint64_t value, unsigned width, std::string& text) {
  const std::string digits = std::to_string(value);
  if (digits.size() < width) text.append(width - digits.size(), '0');
  text += digits;
}

}  // namespace

SegmentTemplate::SegmentTemplate(std::string_view pattern, std::string_view representationID,
                                 std::uint64_t bandwidth) {
  std::string text;
  while (!pattern.empty()) {
    const auto begin = pattern.find('$');
    text += pattern.substr(0, begin);
    if (begin == pattern.npos) break;
    const auto end = pattern.find('$', begin + 1);
    if (end == pattern.npos) {
      text += pattern.substr(begin);
      break;
    }
    std::string_view name = pattern.substr(begin + 1, end - begin - 1);
    pattern.remove_prefix(end + 1);
    unsigned width = 0;
    if (const auto percent = name.find('%'); percent != name.npos) {
      std::string_view format = name.substr(percent + 1);
      name = name.substr(0, percent);
      if (format.starts_with('0')) format.remove_prefix(1);
      std::from_chars(format.data(), format.data() + format.size(), width);
      width = std::min(width, kMaxWidth);
    }
    if (name.empty())
      text += '$';
    else if (name == "RepresentationID")
      text += representationID;
    else if (name == "Bandwidth")
      appendDigits(bandwidth, width, text);
    else if (name == "Number" || name == "Time" || name == "SubNumber")
      _pieces.push_back({std::exchange(text, {}), name.front(), width});
  }
  _pieces.push_back({std::move(text), 0, 0});
  std::size_t size = 0;
  for (const Piece& piece : _pieces) size += piece.text.size() + kMaxWidth;
  if (size > kMaxURLLength) _pieces.clear();
}

std::string SegmentTemplate::expanded(std::uint64_t number, std::uint64_t time,
                                      std::uint64_t subNumber) const {
  std::string result;
  for (const Piece& piece : _pieces) {
    result += piece.text;
    if (piece.value == 0) continue;
    appendDigits(piece.value == 'N'   ? number
                 : piece.value == 'T' ? time
                                      : subNumber,
                 piece.width, result);
  }
  return result;
}

std::vector<std::string> resolvedURLs(const std::vector<std::string>& bases,
                                      std::string_view reference, const std::string* queryFrom) {
  constexpr std::size_t kMaxURLs = 8;
  std::vector<std::string> urls;
  for (const std::string& base : bases) {
    if (urls.size() == kMaxURLs) break;
    auto url = reference.empty() ? std::optional(base) : resolveURL(base, reference);
    if (!url) continue;
    if (queryFrom) url = withQueryOf(*queryFrom, *url);
    if (std::find(urls.begin(), urls.end(), *url) == urls.end()) urls.push_back(*std::move(url));
  }
  return urls;
}

DASHSegmentIndex::DASHSegmentIndex(Setup setup) : _setup(std::move(setup)) {
  const SegmentTiming& timing = *_setup.timing;
  if (timing.duration > 0) {
    const double duration = secondsOf(static_cast<double>(timing.duration), timing);
    _count = _setup.periodEnd
                 ? countOf(std::ceil((*_setup.periodEnd - _setup.periodStart) / duration -
                                     kDASHTolerance))
                 : SegmentTiming::kUnbounded;
  } else if (timing.runs && !timing.runs->empty()) {
    _count = timing.runs->back().firstIndex + timing.runs->back().segments();
    // Segments that start after the end of the period are dropped.
    if (_setup.periodEnd && _count > 0) {
      const std::uint64_t index = _indexAt(*_setup.periodEnd - 2 * kDASHTolerance);
      if (index < _count)
        _count = _timesOf(index).start < *_setup.periodEnd - kDASHTolerance ? index + 1 : index;
    }
  }
  if (timing.lastNumber && _count > 0 && _timesOf(_count - 1).number > *timing.lastNumber)
    _count = *timing.lastNumber < timing.firstNumber ? 0 : _indexAfter(*timing.lastNumber);
  if (_setup.list) _count = std::min<std::uint64_t>(_count, _setup.list->size());
}

bool DASHSegmentIndex::_isOpen() const {
  const SegmentTiming& timing = *_setup.timing;
  return timing.duration > 0 || timing.isOpen;
}

DASHSegmentIndex::Times DASHSegmentIndex::_timesOf(std::uint64_t index) const {
  const SegmentTiming& timing = *_setup.timing;
  Times times;
  if (timing.duration > 0) {
    const auto units = static_cast<double>(index) * static_cast<double>(timing.duration);
    times.time = index * timing.duration + timing.timeOffset;
    times.number = timing.firstNumber + index;
    times.start = _setup.periodStart + secondsOf(units, timing);
    times.duration = secondsOf(static_cast<double>(timing.duration), timing);
  } else {
    const auto run = std::prev(std::upper_bound(
        timing.runs->begin(), timing.runs->end(), index,
        [](std::uint64_t wanted, const auto& each) { return wanted < each.firstIndex; }));
    const std::uint64_t sequence = (index - run->firstIndex) / run->parts;
    const std::uint64_t part = (index - run->firstIndex) % run->parts;
    times.time = run->time + sequence * run->duration;
    times.number = timing.firstNumber + run->firstNumber + sequence;
    times.subNumber = part + 1;
    times.duration =
        secondsOf(static_cast<double>(run->duration) / static_cast<double>(run->parts), timing);
    times.start =
        _setup.periodStart +
        secondsOf(static_cast<double>(times.time) - static_cast<double>(timing.timeOffset),
                  timing) +
        static_cast<double>(part) * times.duration;
  }
  if (_setup.periodEnd)
    times.duration = std::max(0.0, std::min(times.duration, *_setup.periodEnd - times.start));
  return times;
}

std::uint64_t DASHSegmentIndex::_indexAfter(std::uint64_t number) const {
  const SegmentTiming& timing = *_setup.timing;
  const std::uint64_t sequence = number - timing.firstNumber + 1;
  if (timing.duration > 0) return std::min(_count, sequence);
  const auto run = std::prev(std::upper_bound(
      timing.runs->begin(), timing.runs->end(), sequence,
      [](std::uint64_t wanted, const auto& each) { return wanted < each.firstNumber; }));
  return std::min(_count, run->firstIndex + (sequence - run->firstNumber) * run->parts);
}

std::uint64_t DASHSegmentIndex::_indexAt(double time) const {
  const SegmentTiming& timing = *_setup.timing;
  const double relative = time + kDASHTolerance - _setup.periodStart;
  if (timing.duration > 0)
    return std::min(
        _count,
        countOf(std::floor(relative / secondsOf(static_cast<double>(timing.duration), timing))));
  if (_count == 0) return 0;
  const double units = relative * timing.timescale + static_cast<double>(timing.timeOffset);
  // The first run that ends after the time.
  const auto run = std::upper_bound(
      timing.runs->begin(), timing.runs->end(), units, [](double wanted, const auto& each) {
        return wanted < static_cast<double>(each.time) +
                            static_cast<double>(each.count) * static_cast<double>(each.duration);
      });
  if (run == timing.runs->end()) return _count;
  const double within = (units - static_cast<double>(run->time)) * static_cast<double>(run->parts) /
                        static_cast<double>(run->duration);
  return std::min(_count,
                  run->firstIndex + std::min(run->segments() - 1, countOf(std::floor(within))));
}

std::shared_ptr<const SegmentKey> DASHSegmentIndex::_keyOf(std::uint64_t index) const {
  if (!_setup.keys) return nullptr;
  const auto next = std::upper_bound(
      _setup.keys->begin(), _setup.keys->end(), index,
      [](std::uint64_t wanted, const auto& each) { return wanted < each.firstIndex; });
  if (next == _setup.keys->begin()) return nullptr;
  const SegmentKeyPeriod& period = *std::prev(next);
  return period.count && index - period.firstIndex >= *period.count ? nullptr : period.key;
}

std::optional<Segment> DASHSegmentIndex::_segment(std::uint64_t index) const {
  if (index >= _count) return std::nullopt;
  const SegmentTiming& timing = *_setup.timing;
  const Times times = _timesOf(index);
  Segment segment;
  segment.number = timing.firstNumber + index;
  segment.start = times.start;
  segment.duration = times.duration;
  segment.initialization = _setup.initialization;
  segment.key = _keyOf(index);
  segment.discontinuity = _setup.discontinuity;
  if (_setup.list) {
    const ListedSegment& listed = (*_setup.list)[static_cast<std::size_t>(index)];
    segment.resource = {resolvedURLs(_setup.bases, listed.reference, _setup.queryFrom.get()),
                        listed.span};
  } else if (_setup.media) {
    segment.resource.urls = resolvedURLs(
        _setup.bases, _setup.media->expanded(times.number, times.time, times.subNumber),
        _setup.queryFrom.get());
  } else {
    segment.resource.urls = resolvedURLs(_setup.bases, {}, _setup.queryFrom.get());
  }
  segment.isGap = segment.resource.urls.empty();
  if (_setup.availabilityStart) {
    const double nominal = timing.duration > 0
                               ? secondsOf(static_cast<double>(timing.duration), timing)
                               : times.duration;
    const double from = _setup.availabilityStart->secondsSince1970 + times.start + nominal -
                        timing.availabilityOffset;
    // Segments of a SegmentTimeline are available when they are listed.
    if (_isOpen() && std::isfinite(from)) segment.availableFrom = platform::Date{from};
    segment.date = platform::Date{_setup.availabilityStart->secondsSince1970 + times.start};
  }
  return segment;
}

std::optional<Segment> DASHSegmentIndex::at(double time) const {
  if (_setup.periodEnd && time + kDASHTolerance >= *_setup.periodEnd) return std::nullopt;
  return _segment(_indexAt(time));
}

std::optional<Segment> DASHSegmentIndex::after(const Segment& previous) const {
  // Search by time: numbers differ between versions and representations.
  const std::uint64_t index = _indexAt(previous.start + previous.duration / 2);
  if (index >= _count) return std::nullopt;
  const double start = _timesOf(index).start;
  return _segment(start > previous.start + kDASHTolerance ? index : index + 1);
}

std::optional<Segment> DASHSegmentIndex::first(platform::Date now) const {
  if (!_setup.availabilityStart || !_setup.timeShiftDepth) return _segment(0);
  const double oldest =
      now.secondsSince1970 - _setup.availabilityStart->secondsSince1970 - *_setup.timeShiftDepth;
  return _segment(_indexAt(std::max(oldest, _setup.periodStart)));
}

std::optional<Segment> DASHSegmentIndex::last(platform::Date now) const {
  if (_count == 0) return std::nullopt;
  std::uint64_t count = _count;
  const SegmentTiming& timing = *_setup.timing;
  if (_setup.availabilityStart) {
    const double edge = now.secondsSince1970 - _setup.availabilityStart->secondsSince1970 +
                        timing.availabilityOffset;
    // The segment at the live edge is not complete.
    if (_isOpen()) count = std::min(count, _indexAt(edge));
  } else if (count >= SegmentTiming::kUnbounded) {
    return std::nullopt;
  }
  return count == 0 ? std::nullopt : _segment(count - 1);
}

}  // namespace streaming
