#include "media/durations/ClockJumps.h"

#include <algorithm>
#include <cstdlib>

namespace media {
namespace {

using Clocks = std::vector<SystemTimes::Clock>;

constexpr std::uint64_t kSections = 16;
constexpr std::size_t kClockHead = std::size_t{1} << 20;
constexpr std::size_t kLeastWindow = std::size_t{64} << 10;
constexpr int kMaxReads = 80;
/// Contains time stamps of all streams.
constexpr std::uint64_t kJoinBytes = std::uint64_t{512} << 10;
/// Clock references are at most 0.1 s apart in transport streams, 0.7 s in program streams.
constexpr std::int64_t kLargestStep = 90000;
/// The bit rate of a section may differ from the others by this factor.
constexpr double kRateTolerance = 4;

class JumpSearch {
 public:
  JumpSearch(const ReadSystemTimes& read, std::uint64_t size) : _read(read), _size(size) {}

  std::optional<ClockJumps> run() {
    const Clocks head = _clocks(0, kClockHead);
    if (!_setRate(head)) return std::nullopt;
    _first = head.front().time;
    Point from{0, _first};
    for (std::uint64_t section = 1; section <= kSections; ++section) {
      const std::uint64_t end = section == kSections ? _size : _size / kSections * section;
      if (end <= from.offset + 2 * _window && section < kSections) continue;
      const Point to = section == kSections ? _last() : _pointAt(end);
      _search(from, to);
      from = to;
    }
    return _isLost ? std::nullopt : std::optional(_jumps);
  }

 private:
  struct Point {
    std::uint64_t offset = 0;
    SystemTime time = 0;
  };

  Clocks _clocks(std::uint64_t offset, std::uint64_t count) {
    if (_isLost || ++_reads > kMaxReads) {
      _isLost = true;
      return {};
    }
    Clocks clocks = _times(offset, count).clocks;
    _isLost = clocks.empty();
    return clocks;
  }
  SystemTimes _times(std::uint64_t offset, std::uint64_t count) const {
    return _read(offset, static_cast<std::size_t>(std::min(count, _size - offset)));
  }
  Point _pointAt(std::uint64_t offset) {
    const Clocks clocks = _clocks(offset, _window);
    return clocks.empty() ? Point{} : Point{offset + clocks.front().offset, clocks.front().time};
  }
  Point _last() {
    const std::uint64_t offset = _size - std::min<std::uint64_t>(_size, _window);
    const Clocks clocks = _clocks(offset, _window);
    return clocks.empty() ? Point{} : Point{offset + clocks.back().offset, clocks.back().time};
  }

  static bool _isStep(std::int64_t difference) {
    return difference >= 0 && difference < kLargestStep;
  }
  bool _setRate(const Clocks& head) {
    std::int64_t time = 0;
    std::size_t bytes = 0;
    for (std::size_t index = 1; index < head.size(); ++index) {
      const std::int64_t step = systemTimeBetween(head[index - 1].time, head[index].time);
      if (!_isStep(step)) continue;
      const std::size_t gap = head[index].offset - head[index - 1].offset;
      time += step;
      bytes += gap;
      _window = std::max(_window, 2 * gap);
    }
    if (time == 0 || bytes == 0) return false;
    _timeOfByte = static_cast<double>(time) / static_cast<double>(bytes);
    return true;
  }

  void _search(const Point& from, const Point& to) {
    if (_isLost || to.offset <= from.offset) return;
    const std::uint64_t bytes = to.offset - from.offset;
    const auto passed = static_cast<double>(systemTimeBetween(from.time, to.time));
    const double expected = static_cast<double>(bytes) * _timeOfByte;
    if (passed > expected / kRateTolerance && passed < expected * kRateTolerance) return;
    if (bytes <= 2 * _window) return _addJumps(from, bytes);
    const Point middle = _pointAt(from.offset + bytes / 2);
    if (middle.offset >= to.offset) return;
    _search(from, middle);
    _search(middle, to);
  }

  /// The clock at `to` is part of the bytes that are read.
  void _addJumps(const Point& from, std::uint64_t bytes) {
    const Clocks clocks = _clocks(from.offset, bytes + _window);
    std::int64_t step = 0;
    for (std::size_t index = 1; index < clocks.size() && clocks[index - 1].offset < bytes;
         ++index) {
      const std::int64_t difference = systemTimeBetween(clocks[index - 1].time, clocks[index].time);
      if (_isStep(difference))
        step = difference;
      else
        _add(_jumpAt(from.offset + clocks[index].offset).value_or(difference - step),
             clocks[index - 1].time);
    }
  }
  void _add(std::int64_t jump, SystemTime before) {
    if (jump < 0 && !_jumps.firstBack)
      _jumps.firstBack = systemTimeBetween(_first, before) - _jumps.total;
    _jumps.total += jump;
  }
  /// Returns the time from the end of the recording before `offset` to the start of the next one.
  std::optional<std::int64_t> _jumpAt(std::uint64_t offset) const {
    const std::uint64_t before = std::min<std::uint64_t>(offset, kJoinBytes);
    const SystemTimes last = _times(offset - before, before);
    const SystemTimes next = _times(offset, kJoinBytes);
    if (last.streams.empty() || next.streams.empty()) return std::nullopt;
    const SystemTime reference = last.streams.begin()->second.last;
    std::int64_t end = 0;
    for (const auto& [id, stream] : last.streams)
      end = std::max(end, systemTimeBetween(reference, stream.last) + stream.rest());
    std::int64_t start = systemTimeBetween(reference, next.streams.begin()->second.first);
    for (const auto& [id, stream] : next.streams)
      start = std::min(start, systemTimeBetween(reference, stream.first));
    return start - end;
  }

  const ReadSystemTimes& _read;
  const std::uint64_t _size;
  double _timeOfByte = 0;
  std::size_t _window = kLeastWindow;  // has a clock reference
  SystemTime _first = 0;
  ClockJumps _jumps;
  int _reads = 0;
  bool _isLost = false;
};

}  // namespace

std::optional<ClockJumps> findClockJumps(const ReadSystemTimes& read, std::uint64_t size) {
  return JumpSearch(read, size).run();
}

}  // namespace media
