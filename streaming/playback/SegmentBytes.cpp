#include "streaming/playback/SegmentBytes.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace streaming {

void SegmentBytes::setSource(std::function<void()> readerMoved) {
  const bool isSet = static_cast<bool>(readerMoved);
  _source.set(std::move(readerMoved));
  const std::lock_guard lock(_mutex);
  _hasSource = isSet;
  _changed.notify_all();
}

void SegmentBytes::setTotal(std::optional<std::uint64_t> total, bool canSeek) {
  const std::lock_guard lock(_mutex);
  _total = total;
  _canSeek = canSeek;
  _isLong = _isLong || (total && *total > _limits.whole);
}

void SegmentBytes::append(std::string_view bytes) {
  const std::lock_guard lock(_mutex);
  _window.bytes.append(bytes);
  _isLong = _isLong || _window.end() > _limits.whole;
  _discard();
  _changed.notify_all();
}

void SegmentBytes::complete() { _end(State::Complete, std::nullopt); }

void SegmentBytes::fail(platform::Error error) { _end(State::Failed, std::move(error)); }

void SegmentBytes::_end(State state, std::optional<platform::Error> error) {
  const std::lock_guard lock(_mutex);
  if (_state != State::Arriving) return;
  _state = state;
  _error = std::move(error);
  if (state == State::Complete) _total = _window.end();
  _changed.notify_all();
}

bool SegmentBytes::isFull() {
  const std::lock_guard lock(_mutex);
  _window.isPaused = _isLong && _window.ahead() >= _limits.ahead;
  return _window.isPaused;
}

std::optional<std::uint64_t> SegmentBytes::requestedOffset() const {
  const std::lock_guard lock(_mutex);
  return _window.requested;
}

void SegmentBytes::restart(std::uint64_t offset) {
  const std::lock_guard lock(_mutex);
  _window.bytes.clear();
  _window.begin = offset;
  _window.requested.reset();
  _window.isPaused = false;
  _state = State::Arriving;
  _error.reset();
  _changed.notify_all();
}

SegmentBytes::State SegmentBytes::state() const {
  const std::lock_guard lock(_mutex);
  return _state;
}

std::uint64_t SegmentBytes::size() const {
  const std::lock_guard lock(_mutex);
  return _window.end();
}

std::uint64_t SegmentBytes::bytesInMemory() const {
  const std::lock_guard lock(_mutex);
  return _window.bytes.size();
}

std::optional<platform::Error> SegmentBytes::error() const {
  const std::lock_guard lock(_mutex);
  return _error;
}

bool SegmentBytes::isLong() const {
  const std::lock_guard lock(_mutex);
  return _isLong;
}

bool SegmentBytes::isReadable() const {
  const std::lock_guard lock(_mutex);
  return _state != State::Failed && (_window.begin == 0 || _hasSource);
}

bool SegmentBytes::isSeekable() const {
  const std::lock_guard lock(_mutex);
  if (_isLong) return _total && _canSeek && _hasSource;
  return _state == State::Complete;
}

std::optional<std::uint64_t> SegmentBytes::total() const {
  const std::lock_guard lock(_mutex);
  return _total;
}

std::optional<SegmentBytes::Part> SegmentBytes::part() const {
  const std::lock_guard lock(_mutex);
  if (!_total || *_total == 0) return std::nullopt;
  const auto whole = static_cast<double>(*_total);
  return Part{static_cast<double>(_window.begin) / whole,
              static_cast<double>(_window.end()) / whole};
}

/// Returns what a read at `offset` has to wait for. The byte is not in memory.
SegmentBytes::Wait SegmentBytes::_waitFor(std::uint64_t offset) const {
  if (_state == State::Failed || (_total && offset >= *_total)) return Wait::None;
  if (_window.requested == offset) return _hasSource ? Wait::Bytes : Wait::None;
  const bool isFar = _canSeek && offset > _window.end() + _limits.near;
  if (offset < _window.begin || isFar) return _hasSource ? Wait::Source : Wait::None;
  return _state == State::Arriving ? Wait::Bytes : Wait::None;
}

/// True: a paused writer can continue.
bool SegmentBytes::_noteReader(std::uint64_t offset) const {
  _window.reader = offset;
  _discard();
  // Resume in larger steps, not after every read.
  return _window.isPaused && _window.ahead() <= _limits.ahead / 4 * 3 &&
         std::exchange(_window.isPaused, false);
}

/// Discards bytes far behind the read position of a long segment.
void SegmentBytes::_discard() const {
  if (!_isLong || _window.reader < _window.begin) return;
  const std::uint64_t behind =
      std::min<std::uint64_t>(_window.reader - _window.begin, _window.bytes.size());
  // Discard in large steps, because the remaining bytes are moved.
  if (behind < 2 * _limits.behind) return;
  const std::uint64_t count = behind - _limits.behind;
  _window.bytes.erase(0, static_cast<std::size_t>(count));
  _window.begin += count;
}

std::size_t SegmentBytes::read(std::uint64_t offset, std::span<std::byte> into,
                               const ReadGate& gate) const {
  const ReadGate::Waiter waiter(gate, _mutex, _changed);
  std::unique_lock lock(_mutex);
  while (!gate.isClosed()) {
    if (offset >= _window.begin && offset < _window.end()) {
      const std::uint64_t within = offset - _window.begin;
      const std::size_t count = std::min<std::uint64_t>(into.size(), _window.bytes.size() - within);
      std::memcpy(into.data(), _window.bytes.data() + within, count);
      const bool hasRoom = _noteReader(offset + count);
      lock.unlock();
      if (hasRoom) _source.call();
      return count;
    }
    const Wait wait = _waitFor(offset);
    if (wait == Wait::None) return 0;
    bool asks = _noteReader(offset);
    if (wait == Wait::Source) {
      _window.requested = offset;
      asks = true;
    }
    if (asks) {
      lock.unlock();
      _source.call();
      lock.lock();
      continue;
    }
    _changed.wait(lock);
  }
  return 0;
}

bool SegmentBytes::waitUntilComplete(const ReadGate& gate) const {
  const ReadGate::Waiter waiter(gate, _mutex, _changed);
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [&] { return _state != State::Arriving || _isLong || gate.isClosed(); });
  return _state == State::Complete && _window.begin == 0;
}

std::string SegmentBytes::copy() const {
  const std::lock_guard lock(_mutex);
  return _window.bytes;
}

}  // namespace streaming
