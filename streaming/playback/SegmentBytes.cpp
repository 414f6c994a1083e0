#include "streaming/playback/SegmentBytes.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace streaming {

void SegmentBytes::append(std::string_view bytes) {
  const std::lock_guard lock(_mutex);
  _bytes.append(bytes);
  _changed.notify_all();
}

void SegmentBytes::complete() { _end(State::Complete, std::nullopt); }

void SegmentBytes::fail(platform::Error error) { _end(State::Failed, std::move(error)); }

void SegmentBytes::_end(State state, std::optional<platform::Error> error) {
  const std::lock_guard lock(_mutex);
  if (_state != State::Arriving) return;
  _state = state;
  _error = std::move(error);
  _changed.notify_all();
}

SegmentBytes::State SegmentBytes::state() const {
  const std::lock_guard lock(_mutex);
  return _state;
}

std::uint64_t SegmentBytes::size() const {
  const std::lock_guard lock(_mutex);
  return _bytes.size();
}

std::optional<platform::Error> SegmentBytes::error() const {
  const std::lock_guard lock(_mutex);
  return _error;
}

std::size_t SegmentBytes::read(std::uint64_t offset, std::span<std::byte> into,
                               const ReadGate& gate) const {
  const ReadGate::Waiter waiter(gate, _mutex, _changed);
  std::unique_lock lock(_mutex);
  _changed.wait(
      lock, [&] { return offset < _bytes.size() || _state != State::Arriving || gate.isClosed(); });
  if (offset >= _bytes.size() || gate.isClosed()) return 0;
  const std::size_t count = std::min<std::uint64_t>(into.size(), _bytes.size() - offset);
  std::memcpy(into.data(), _bytes.data() + offset, count);
  return count;
}

bool SegmentBytes::waitUntilComplete(const ReadGate& gate) const {
  const ReadGate::Waiter waiter(gate, _mutex, _changed);
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [&] { return _state != State::Arriving || gate.isClosed(); });
  return _state == State::Complete;
}

std::string SegmentBytes::copy() const {
  const std::lock_guard lock(_mutex);
  return _bytes;
}

}  // namespace streaming
