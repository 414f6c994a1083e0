#include "streaming/playback/resource/SpanStore.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace streaming {
namespace {

constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

}  // namespace

SpanStore::Chunks::const_iterator SpanStore::_chunkAt(std::uint64_t offset) const {
  auto next = _chunks.upper_bound(offset);
  if (next == _chunks.begin()) return _chunks.end();
  --next;
  return offset - next->first < next->second.bytes.size() ? next : _chunks.end();
}

void SpanStore::put(std::uint64_t offset, std::string_view bytes) {
  while (!bytes.empty()) {
    if (const auto there = _chunkAt(offset); there != _chunks.end()) {
      const auto known =
          std::min<std::uint64_t>(bytes.size(), there->first + there->second.bytes.size() - offset);
      offset += known;
      bytes.remove_prefix(static_cast<std::size_t>(known));
      continue;
    }
    const auto next = _chunks.upper_bound(offset);
    std::uint64_t count = bytes.size();
    if (next != _chunks.end()) count = std::min(count, next->first - offset);
    // Append to the previous chunk while it is small.
    if (next != _chunks.begin()) {
      auto& [begin, last] = *std::prev(next);
      if (begin + last.bytes.size() == offset && last.bytes.size() < kChunkBytes) {
        count = std::min<std::uint64_t>(count, kChunkBytes - last.bytes.size());
        last.bytes.append(bytes.substr(0, static_cast<std::size_t>(count)));
        last.used = ++_useCount;
        _size += count;
        offset += count;
        bytes.remove_prefix(static_cast<std::size_t>(count));
        continue;
      }
    }
    count = std::min<std::uint64_t>(count, kChunkBytes);
    _chunks[offset] = {std::string(bytes.substr(0, static_cast<std::size_t>(count))), ++_useCount};
    _size += count;
    offset += count;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::size_t SpanStore::copy(std::uint64_t offset, std::span<std::byte> into) {
  std::size_t done = 0;
  while (done < into.size()) {
    const auto found = _chunkAt(offset + done);
    if (found == _chunks.end()) break;
    auto& [begin, chunk] = *_chunks.find(found->first);
    const auto skipped = static_cast<std::size_t>(offset + done - begin);
    const std::size_t count = std::min(into.size() - done, chunk.bytes.size() - skipped);
    std::memcpy(into.data() + done, chunk.bytes.data() + skipped, count);
    chunk.used = ++_useCount;
    done += count;
  }
  return done;
}

std::uint64_t SpanStore::endFrom(std::uint64_t offset) const {
  for (auto each = _chunkAt(offset); each != _chunks.end(); ++each) {
    if (each->first > offset) break;
    offset = each->first + each->second.bytes.size();
  }
  return offset;
}

void SpanStore::trim(const std::vector<Window>& windows, std::uint64_t limit) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> unneeded;  // use counter, offset
  std::uint64_t size = 0;
  for (const auto& [offset, chunk] : _chunks) {
    const std::uint64_t begin = offset;
    const std::uint64_t end = begin + chunk.bytes.size();
    const bool isNeeded = std::any_of(windows.begin(), windows.end(), [&](const Window& window) {
      return end > window.begin && begin < window.end;
    });
    if (isNeeded) continue;
    unneeded.emplace_back(chunk.used, begin);
    size += chunk.bytes.size();
  }
  if (size <= limit) return;
  std::sort(unneeded.begin(), unneeded.end());
  for (const auto& [used, offset] : unneeded) {
    if (size <= limit) break;
    const auto found = _chunks.find(offset);
    size -= found->second.bytes.size();
    _size -= found->second.bytes.size();
    _chunks.erase(found);
  }
}

std::vector<ByteSpan> SpanStore::spans() const {
  std::vector<ByteSpan> spans;
  for (const auto& [offset, chunk] : _chunks) {
    if (!spans.empty() && spans.back().offset + *spans.back().length == offset)
      *spans.back().length += chunk.bytes.size();
    else
      spans.push_back({offset, chunk.bytes.size()});
  }
  return spans;
}

}  // namespace streaming
