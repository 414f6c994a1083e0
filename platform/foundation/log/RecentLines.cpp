#include "platform/foundation/log/RecentLines.h"

#include <algorithm>
#include <cstring>

namespace platform {

void RecentLines::add(std::string_view line) {
  line = line.substr(0, kCapacityBytes - sizeof(Length));
  const std::size_t needed = sizeof(Length) + line.size();
  while (_count == kMaxLines || _end - _begin + needed > kCapacityBytes) _dropOldest();
  const auto length = static_cast<Length>(line.size());
  char header[sizeof length];
  std::memcpy(header, &length, sizeof length);
  _put(_end, header, sizeof header);
  _put(_end + sizeof header, line.data(), line.size());
  _end += needed;
  ++_count;
}

std::vector<std::string> RecentLines::lines() const {
  std::vector<std::string> result;
  for (std::uint64_t at = _begin; at < _end;) {
    std::string line(_lengthAt(at), '\0');
    _get(at + sizeof(Length), line.data(), line.size());
    at += sizeof(Length) + line.size();
    result.push_back(std::move(line));
  }
  return result;
}

void RecentLines::clear() {
  _begin = _end.load();
  _count = 0;
}

void RecentLines::dump(Writer write) const {
  const std::uint64_t end = _end;
  for (std::uint64_t at = _begin; at < end;) {
    const Length length = _lengthAt(at);
    at += sizeof(Length);
    // Another thread has overwritten this record, so `length` is not a length.
    if (length > end - at) return;
    for (std::size_t left = length; left > 0;) {
      const std::size_t offset = at % kCapacityBytes;
      const std::size_t piece = std::min(left, kCapacityBytes - offset);
      write(_bytes.get() + offset, piece);
      at += piece;
      left -= piece;
    }
    write("\n", 1);
  }
}

void RecentLines::_put(std::uint64_t position, const char* bytes, std::size_t size) {
  const std::size_t offset = position % kCapacityBytes;
  const std::size_t first = std::min(size, kCapacityBytes - offset);
  std::memcpy(_bytes.get() + offset, bytes, first);
  std::memcpy(_bytes.get(), bytes + first, size - first);
}

void RecentLines::_get(std::uint64_t position, char* bytes, std::size_t size) const {
  const std::size_t offset = position % kCapacityBytes;
  const std::size_t first = std::min(size, kCapacityBytes - offset);
  std::memcpy(bytes, _bytes.get() + offset, first);
  std::memcpy(bytes + first, _bytes.get(), size - first);
}

RecentLines::Length RecentLines::_lengthAt(std::uint64_t position) const {
  char header[sizeof(Length)];
  _get(position, header, sizeof header);
  Length length = 0;
  std::memcpy(&length, header, sizeof length);
  return length;
}

void RecentLines::_dropOldest() {
  _begin += sizeof(Length) + _lengthAt(_begin);
  --_count;
}

}  // namespace platform
