#include "streaming/playback/feeding/PieceShelf.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "streaming/timeline/TimeRanges.h"

namespace streaming {
namespace {

/// Tolerance for rounded times.
constexpr double kTolerance = 0.01;

constexpr std::size_t kMostPieces = 2000;

std::uint64_t bytesOf(const TrackPiece& piece) { return piece.media ? piece.media->held() : 0; }

bool isWhole(const TrackPiece& piece) {
  return !piece.media ||
         (piece.media->state() == SegmentBytes::State::Complete && !piece.media->isLong());
}

/// False: the piece must be loaded again.
bool isReadable(const TrackPiece& piece) { return !piece.media || piece.media->isReadable(); }

bool isSame(const Segment& a, const Segment& b) {
  return a.part == b.part && std::abs(a.start - b.start) < kTolerance &&
         std::abs(a.end() - b.end()) < kSmallestHole;
}

}  // namespace

std::optional<TrackPiece> PieceShelf::next(const ReadGate& gate) {
  const ReadGate::Waiter waiter(gate, _mutex, _changed);
  std::optional<TrackPiece> piece;
  {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return gate.isClosed() || _upcoming(); });
    if (gate.isClosed()) return std::nullopt;
    piece = _advance();
  }
  _wake();
  return piece;
}

std::optional<TrackPiece> PieceShelf::take() {
  std::optional<TrackPiece> piece;
  {
    const std::lock_guard lock(_mutex);
    if (!_upcoming()) return std::nullopt;
    piece = _advance();
  }
  _wake();
  return piece;
}

std::optional<TrackPiece> PieceShelf::takeWhole(bool& isFirst) {
  const std::lock_guard lock(_mutex);
  const auto place = _upcomingPlace();
  if (place == _held.end()) return std::nullopt;
  const auto& media = place->piece.media;
  if (media && media->state() == SegmentBytes::State::Arriving) return std::nullopt;
  isFirst = _first.has_value();
  return _advance();
}

void PieceShelf::seek(double seconds) {
  {
    const std::lock_guard lock(_mutex);
    _isSeeking = true;
    _first.reset();
    _last.reset();
    _seek = _sought = seconds;
    if (_isTrusted) {
      for (const Held& each : _held) {
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

PieceShelf::List::const_iterator PieceShelf::_place(ID id) const {
  return std::find_if(_held.begin(), _held.end(), [&](const Held& each) { return each.id == id; });
}

PieceShelf::List::const_iterator PieceShelf::_upcomingPlace() const {
  if (_isSeeking) return _held.end();
  if (_first) return _place(*_first);
  if (!_last) return _held.end();
  auto place = _place(*_last);
  if (place == _held.end()) return place;
  ++place;
  return place != _held.end() && place->follows ? place : _held.end();
}

const TrackPiece* PieceShelf::_upcoming() const {
  const auto place = _upcomingPlace();
  if (place != _held.end()) return &place->piece;
  if (!_terminal) return nullptr;
  if (_isSeeking) return _terminalAfter || _seek ? nullptr : &*_terminal;
  return !_first && _last == _terminalAfter ? &*_terminal : nullptr;
}

std::optional<TrackPiece> PieceShelf::_advance() {
  const auto place = _upcomingPlace();
  if (place == _held.end()) return _terminal;
  TrackPiece piece = place->piece;
  if (_first) {
    piece.isDiscontinuous = true;
    piece.sought = _sought;
  }
  _first.reset();
  _last = place->id;
  return piece;
}

std::optional<double> PieceShelf::takeSeek() {
  const std::lock_guard lock(_mutex);
  return std::exchange(_seek, std::nullopt);
}

std::optional<PieceShelf::ID> PieceShelf::readerPlace() const {
  const std::lock_guard lock(_mutex);
  return _last ? _last : _first;
}

void PieceShelf::answerSeek(ID first) {
  {
    const std::lock_guard lock(_mutex);
    if (!_isSeeking || _seek) return;
    _isSeeking = false;
    _first = first;
  }
  _changed.notify_all();
}

PieceShelf::ID PieceShelf::add(TrackPiece piece, std::optional<ID> after) {
  ID id = 0;
  {
    const std::lock_guard lock(_mutex);
    id = ++_count;
    auto place = _held.cend();
    if (after) place = _place(*after);
    const bool follows = after && place != _held.cend();
    if (follows) {
      ++place;
      // The piece that followed `after` starts a run of its own.
      if (place != _held.cend() && place->follows) {
        auto& next = *std::find_if(_held.begin(), _held.end(),
                                   [&](const Held& each) { return each.id == place->id; });
        next.follows = false;
      }
    } else {
      place = std::find_if(_held.cbegin(), _held.cend(), [&](const Held& each) {
        return each.start() > piece.segment.start && !each.follows;
      });
    }
    _held.insert(place, Held{id, std::move(piece), follows});
    _limitCount();
  }
  _changed.notify_all();
  return id;
}

/// Limits the number of small pieces, such as gaps and partial segments.
void PieceShelf::_limitCount() {
  if (_held.size() <= kMostPieces) return;
  const auto current = _last ? _last : _first;
  for (auto each = _held.begin(); each != _held.end() && each->id != current; ++each) {
    if (!isWhole(each->piece) || each->id == _count) continue;
    const auto after = _held.erase(each);
    if (after != _held.end()) after->follows = false;
    return;
  }
}

std::optional<PieceShelf::ID> PieceShelf::join(ID after, const Segment& segment) {
  std::optional<ID> joined;
  {
    const std::lock_guard lock(_mutex);
    const auto place = std::find_if(_held.begin(), _held.end(),
                                    [&](const Held& each) { return each.id == after; });
    if (place == _held.end()) return std::nullopt;
    const auto next = std::next(place);
    if (next == _held.end() || !isSame(next->piece.segment, segment)) return std::nullopt;
    if (!isReadable(next->piece)) return std::nullopt;
    next->follows = true;
    joined = next->id;
  }
  _changed.notify_all();
  return joined;
}

std::optional<PieceShelf::ID> PieceShelf::find(const Segment& segment) const {
  const std::lock_guard lock(_mutex);
  for (const Held& each : _held) {
    if (isSame(each.piece.segment, segment) && isReadable(each.piece)) return each.id;
  }
  return std::nullopt;
}

PieceShelf::ID PieceShelf::lastOfRun(ID piece) const {
  const std::lock_guard lock(_mutex);
  auto place = _place(piece);
  if (place == _held.end()) return piece;
  for (auto next = std::next(place); next != _held.end() && next->follows; ++next) place = next;
  return place->id;
}

std::optional<TrackPiece> PieceShelf::pieceOf(ID piece) const {
  const std::lock_guard lock(_mutex);
  const auto place = _place(piece);
  if (place == _held.end()) return std::nullopt;
  return place->piece;
}

void PieceShelf::dropUnread() {
  const std::lock_guard lock(_mutex);
  auto place = _upcomingPlace();
  if (place == _held.end()) return;
  ++place;
  while (place != _held.end() && place->follows) place = _held.erase(place);
}

void PieceShelf::remove(ID piece) {
  const std::lock_guard lock(_mutex);
  const auto place = _place(piece);
  // The piece at the reader is needed to find the next one.
  if (place == _held.end() || piece == _last) return;
  if (piece == _first) _first.reset();
  const auto next = _held.erase(place);
  if (next != _held.end()) next->follows = false;
}

void PieceShelf::terminate(std::optional<ID> after, TrackPiece piece) {
  {
    const std::lock_guard lock(_mutex);
    _terminal = std::move(piece);
    _terminalAfter = after;
  }
  _changed.notify_all();
}

void PieceShelf::unterminate() {
  const std::lock_guard lock(_mutex);
  _terminal.reset();
  _terminalAfter.reset();
}

bool PieceShelf::hasTerminal() const {
  const std::lock_guard lock(_mutex);
  return _terminal.has_value();
}

void PieceShelf::clear() {
  const std::lock_guard lock(_mutex);
  _held.clear();
  _first.reset();
  _last.reset();
  _isSeeking = true;
  _isTrusted = true;
  _terminal.reset();
  _terminalAfter.reset();
}

void PieceShelf::setTrusted(bool isTrusted) {
  const std::lock_guard lock(_mutex);
  _isTrusted = isTrusted;
}

std::uint64_t PieceShelf::bytes() const {
  const std::lock_guard lock(_mutex);
  std::uint64_t sum = 0;
  for (const Held& each : _held) sum += bytesOf(each.piece);
  return sum;
}

std::size_t PieceShelf::countAhead() const {
  const std::lock_guard lock(_mutex);
  std::size_t count = 0;
  for (auto place = _upcomingPlace(); place != _held.end(); ++place) {
    if (count > 0 && !place->follows) break;
    ++count;
  }
  return count;
}

std::size_t PieceShelf::countFrom(double position) const {
  const std::lock_guard lock(_mutex);
  return static_cast<std::size_t>(std::count_if(
      _held.begin(), _held.end(), [&](const Held& each) { return each.end() > position; }));
}

void PieceShelf::trim(std::uint64_t bytes, double position) {
  const std::lock_guard lock(_mutex);
  std::uint64_t sum = 0;
  for (const Held& each : _held) sum += bytesOf(each.piece);
  const auto current = _last ? _last : _first;
  while (sum > bytes) {
    // The reader still needs its current piece and those that follow.
    bool isFuture = false;
    auto farthest = _held.end();
    double distance = 0;
    for (auto each = _held.begin(); each != _held.end(); ++each) {
      isFuture = each->id == current || (isFuture && each->follows);
      if (isFuture || bytesOf(each->piece) == 0) continue;
      if (each->piece.media->state() == SegmentBytes::State::Arriving) continue;
      const double away =
          each->end() < position ? position - each->end() : std::max(0.0, each->start() - position);
      if (farthest != _held.end() && away < distance) continue;
      farthest = each;
      distance = away;
    }
    if (farthest == _held.end()) return;
    sum -= std::min(sum, bytesOf(farthest->piece));
    const auto after = _held.erase(farthest);
    if (after != _held.end()) after->follows = false;
  }
}

std::vector<platform::TimeRange> PieceShelf::loaded() const {
  const std::lock_guard lock(_mutex);
  std::vector<platform::TimeRange> ranges;
  for (const Held& each : _held) {
    const double length = each.end() - each.start();
    if (isWhole(each.piece)) {
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
