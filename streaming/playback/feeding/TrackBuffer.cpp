#include "streaming/playback/feeding/TrackBuffer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "streaming/timeline/TimeRanges.h"

namespace streaming {
namespace {

/// Tolerance for rounded times.
constexpr double kTolerance = 0.01;

constexpr std::size_t kMaxPieces = 2000;

std::uint64_t bytesOf(const TrackPiece& piece) {
  return piece.media ? piece.media->bytesInMemory() : 0;
}

bool isComplete(const TrackPiece& piece) {
  return !piece.media ||
         (piece.media->state() == SegmentBytes::State::Complete && !piece.media->isLong());
}

/// False: the piece must be loaded again.
bool isReadable(const TrackPiece& piece) { return !piece.media || piece.media->isReadable(); }

bool isSame(const Segment& a, const Segment& b) {
  return a.part == b.part && std::abs(a.start - b.start) < kTolerance &&
         std::abs(a.end() - b.end()) < kMinGap;
}

}  // namespace

std::optional<TrackPiece> TrackBuffer::next(const ReadGate& gate) {
  const ReadGate::Waiter waiter(gate, _mutex, _changed);
  std::optional<TrackPiece> piece;
  {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return gate.isClosed() || _nextPiece(); });
    if (gate.isClosed()) return std::nullopt;
    piece = _advance();
  }
  _wake();
  return piece;
}

std::optional<TrackPiece> TrackBuffer::take() {
  std::optional<TrackPiece> piece;
  {
    const std::lock_guard lock(_mutex);
    if (!_nextPiece()) return std::nullopt;
    piece = _advance();
  }
  _wake();
  return piece;
}

std::optional<TrackPiece> TrackBuffer::takeComplete(bool& isFirst) {
  const std::lock_guard lock(_mutex);
  const auto entry = _nextEntry();
  if (entry == _pieces.end()) return std::nullopt;
  const auto& media = entry->piece.media;
  if (media && media->state() == SegmentBytes::State::Arriving) return std::nullopt;
  isFirst = _first.has_value();
  return _advance();
}

void TrackBuffer::seek(double seconds) {
  {
    const std::lock_guard lock(_mutex);
    _isSeeking = true;
    _first.reset();
    _last.reset();
    _seek = _seekPosition = seconds;
    if (_answersSeeks) {
      for (const Entry& each : _pieces) {
        if (each.start() > seconds || seconds >= each.end()) continue;
        if (!isReadable(each.piece)) break;
        _seek.reset();
        _isSeeking = false;
        _first = each.id;
        break;
      }
    }
  }
  _changed.notify_all();
  _wake();
}

TrackBuffer::List::const_iterator TrackBuffer::_entry(ID id) const {
  return std::find_if(_pieces.begin(), _pieces.end(),
                      [&](const Entry& each) { return each.id == id; });
}

TrackBuffer::List::const_iterator TrackBuffer::_nextEntry() const {
  if (_isSeeking) return _pieces.end();
  if (_first) return _entry(*_first);
  if (!_last) return _pieces.end();
  auto entry = _entry(*_last);
  if (entry == _pieces.end()) return entry;
  ++entry;
  return entry != _pieces.end() && entry->follows ? entry : _pieces.end();
}

const TrackPiece* TrackBuffer::_nextPiece() const {
  const auto entry = _nextEntry();
  if (entry != _pieces.end()) return &entry->piece;
  if (!_terminal) return nullptr;
  if (_isSeeking) return _terminalAfter || _seek ? nullptr : &*_terminal;
  return !_first && _last == _terminalAfter ? &*_terminal : nullptr;
}

std::optional<TrackPiece> TrackBuffer::_advance() {
  const auto entry = _nextEntry();
  if (entry == _pieces.end()) return _terminal;
  TrackPiece piece = entry->piece;
  if (_first) {
    piece.isDiscontinuous = true;
    piece.seekPosition = _seekPosition;
  }
  _first.reset();
  _last = entry->id;
  return piece;
}

std::optional<double> TrackBuffer::takeSeek() {
  const std::lock_guard lock(_mutex);
  return std::exchange(_seek, std::nullopt);
}

std::optional<TrackBuffer::ID> TrackBuffer::readerPosition() const {
  const std::lock_guard lock(_mutex);
  return _last ? _last : _first;
}

void TrackBuffer::answerSeek(ID first) {
  {
    const std::lock_guard lock(_mutex);
    if (!_isSeeking || _seek) return;
    _isSeeking = false;
    _first = first;
  }
  _changed.notify_all();
}

TrackBuffer::ID TrackBuffer::add(TrackPiece piece, std::optional<ID> after) {
  ID id = 0;
  {
    const std::lock_guard lock(_mutex);
    id = ++_count;
    auto entry = _pieces.cend();
    if (after) entry = _entry(*after);
    const bool follows = after && entry != _pieces.cend();
    if (follows) {
      ++entry;
      // The piece that followed `after` starts a run of its own.
      if (entry != _pieces.cend() && entry->follows) {
        auto& next = *std::find_if(_pieces.begin(), _pieces.end(),
                                   [&](const Entry& each) { return each.id == entry->id; });
        next.follows = false;
      }
    } else {
      entry = std::find_if(_pieces.cbegin(), _pieces.cend(), [&](const Entry& each) {
        return each.start() > piece.segment.start && !each.follows;
      });
    }
    _pieces.insert(entry, Entry{id, std::move(piece), follows});
    _limitCount();
  }
  _changed.notify_all();
  return id;
}

/// Limits the number of small pieces, such as gaps and partial segments.
void TrackBuffer::_limitCount() {
  if (_pieces.size() <= kMaxPieces) return;
  const auto current = _last ? _last : _first;
  for (auto each = _pieces.begin(); each != _pieces.end() && each->id != current; ++each) {
    if (!isComplete(each->piece) || each->id == _count) continue;
    const auto after = _pieces.erase(each);
    if (after != _pieces.end()) after->follows = false;
    return;
  }
}

std::optional<TrackBuffer::ID> TrackBuffer::join(ID after, const Segment& segment) {
  std::optional<ID> joined;
  {
    const std::lock_guard lock(_mutex);
    const auto entry = std::find_if(_pieces.begin(), _pieces.end(),
                                    [&](const Entry& each) { return each.id == after; });
    if (entry == _pieces.end()) return std::nullopt;
    const auto next = std::next(entry);
    if (next == _pieces.end() || !isSame(next->piece.segment, segment)) return std::nullopt;
    if (!isReadable(next->piece)) return std::nullopt;
    next->follows = true;
    joined = next->id;
  }
  _changed.notify_all();
  return joined;
}

std::optional<TrackBuffer::ID> TrackBuffer::find(const Segment& segment) const {
  const std::lock_guard lock(_mutex);
  for (const Entry& each : _pieces) {
    if (isSame(each.piece.segment, segment) && isReadable(each.piece)) return each.id;
  }
  return std::nullopt;
}

TrackBuffer::ID TrackBuffer::lastOfRun(ID piece) const {
  const std::lock_guard lock(_mutex);
  auto entry = _entry(piece);
  if (entry == _pieces.end()) return piece;
  for (auto next = std::next(entry); next != _pieces.end() && next->follows; ++next) entry = next;
  return entry->id;
}

std::optional<TrackPiece> TrackBuffer::pieceOf(ID piece) const {
  const std::lock_guard lock(_mutex);
  const auto entry = _entry(piece);
  if (entry == _pieces.end()) return std::nullopt;
  return entry->piece;
}

void TrackBuffer::dropUnread() {
  const std::lock_guard lock(_mutex);
  auto entry = _nextEntry();
  if (entry == _pieces.end()) return;
  ++entry;
  while (entry != _pieces.end() && entry->follows) entry = _pieces.erase(entry);
}

void TrackBuffer::remove(ID piece) {
  const std::lock_guard lock(_mutex);
  const auto entry = _entry(piece);
  // The piece at the reader is needed to find the next one.
  if (entry == _pieces.end() || piece == _last) return;
  if (piece == _first) _first.reset();
  const auto next = _pieces.erase(entry);
  if (next != _pieces.end()) next->follows = false;
}

void TrackBuffer::terminate(std::optional<ID> after, TrackPiece piece) {
  {
    const std::lock_guard lock(_mutex);
    _terminal = std::move(piece);
    _terminalAfter = after;
  }
  _changed.notify_all();
}

void TrackBuffer::clearTerminal() {
  const std::lock_guard lock(_mutex);
  _terminal.reset();
  _terminalAfter.reset();
}

bool TrackBuffer::hasTerminal() const {
  const std::lock_guard lock(_mutex);
  return _terminal.has_value();
}

void TrackBuffer::clear() {
  const std::lock_guard lock(_mutex);
  _pieces.clear();
  _first.reset();
  _last.reset();
  _isSeeking = true;
  _answersSeeks = true;
  _terminal.reset();
  _terminalAfter.reset();
}

void TrackBuffer::setAnswersSeeks(bool answersSeeks) {
  const std::lock_guard lock(_mutex);
  _answersSeeks = answersSeeks;
}

std::uint64_t TrackBuffer::bytes() const {
  const std::lock_guard lock(_mutex);
  std::uint64_t sum = 0;
  for (const Entry& each : _pieces) sum += bytesOf(each.piece);
  return sum;
}

std::size_t TrackBuffer::countAhead() const {
  const std::lock_guard lock(_mutex);
  std::size_t count = 0;
  for (auto entry = _nextEntry(); entry != _pieces.end(); ++entry) {
    if (count > 0 && !entry->follows) break;
    ++count;
  }
  return count;
}

std::size_t TrackBuffer::countFrom(double position) const {
  const std::lock_guard lock(_mutex);
  return static_cast<std::size_t>(std::count_if(
      _pieces.begin(), _pieces.end(), [&](const Entry& each) { return each.end() > position; }));
}

void TrackBuffer::trim(std::uint64_t bytes, double position) {
  const std::lock_guard lock(_mutex);
  std::uint64_t sum = 0;
  for (const Entry& each : _pieces) sum += bytesOf(each.piece);
  const auto current = _last ? _last : _first;
  while (sum > bytes) {
    // The reader still needs its current piece and those that follow.
    bool isFuture = false;
    auto farthest = _pieces.end();
    double distance = 0;
    for (auto each = _pieces.begin(); each != _pieces.end(); ++each) {
      isFuture = each->id == current || (isFuture && each->follows);
      if (isFuture || bytesOf(each->piece) == 0) continue;
      if (each->piece.media->state() == SegmentBytes::State::Arriving) continue;
      const double away =
          each->end() < position ? position - each->end() : std::max(0.0, each->start() - position);
      if (farthest != _pieces.end() && away < distance) continue;
      farthest = each;
      distance = away;
    }
    if (farthest == _pieces.end()) return;
    sum -= std::min(sum, bytesOf(farthest->piece));
    const auto after = _pieces.erase(farthest);
    if (after != _pieces.end()) after->follows = false;
  }
}

std::vector<platform::TimeRange> TrackBuffer::loaded() const {
  const std::lock_guard lock(_mutex);
  std::vector<platform::TimeRange> ranges;
  for (const Entry& each : _pieces) {
    const double length = each.end() - each.start();
    if (isComplete(each.piece)) {
      ranges.push_back({each.start(), length});
    } else if (each.piece.media->isLong()) {
      // Assumes a constant bit rate.
      if (const auto part = each.piece.media->part())
        ranges.push_back({each.start() + part->begin * length, (part->end - part->begin) * length});
    }
  }
  return unionOf(std::move(ranges));
}

}  // namespace streaming
