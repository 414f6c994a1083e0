#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A ring buffer of the newest log lines in preallocated memory. A crashing process can dump it
/// without allocating memory or taking a lock.
///
/// Threads: dump() from any thread; the caller serializes all other calls.
class RecentLines {
 public:
  static constexpr std::size_t kMaxLines = 1000;
  static constexpr std::size_t kCapacityBytes = std::size_t{256} * 1024;
  using Writer = void (*)(const char* text, std::size_t size);

  /// Drops the oldest lines if necessary. A line longer than the buffer is truncated.
  void add(std::string_view line);
  /// Oldest first.
  std::vector<std::string> lines() const;
  void clear();

  /// Passes all lines to `write` in pieces, each line followed by a newline. Async-signal-safe if
  /// `write` is. If another thread adds lines meanwhile, lines may be missing or garbled.
  void dump(Writer write) const;

 private:
  using Length = std::uint32_t;

  /// `position` is the number of bytes written before it since construction.
  void _put(std::uint64_t position, const char* bytes, std::size_t size);
  void _get(std::uint64_t position, char* bytes, std::size_t size) const;
  Length _lengthAt(std::uint64_t position) const;
  void _dropOldest();

  // Not initialized: pages that are not used yet take no memory.
  const std::unique_ptr<char[]> _bytes = std::make_unique_for_overwrite<char[]>(kCapacityBytes);
  std::atomic<std::uint64_t> _begin = 0;
  std::atomic<std::uint64_t> _end = 0;
  std::size_t _count = 0;
};

}  // namespace platform
