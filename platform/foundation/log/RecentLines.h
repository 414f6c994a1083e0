#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A ring of the newest log lines, in memory of its own: whoever dies writes it out without asking
/// the heap for anything or waiting for a lock.
///
/// Threads: one at a time, but for dump().
class RecentLines {
 public:
  static constexpr std::size_t kLines = 1000;
  static constexpr std::size_t kBytes = std::size_t{256} * 1024;
  using Writer = void (*)(const char* text, std::size_t size);

  /// The oldest make room. A line longer than all the room is cut.
  void add(std::string_view line);
  /// Oldest first.
  std::vector<std::string> lines() const;
  void clear();

  /// Hands all lines to `write`, each with a newline behind it, in pieces. Any thread, also within
  /// a signal's handler while another thread adds: a line may then be missing or be torn.
  void dump(Writer write) const;

 private:
  using Length = std::uint32_t;

  /// `position` counts bytes since the beginning.
  void _put(std::uint64_t position, const char* bytes, std::size_t size);
  void _get(std::uint64_t position, char* bytes, std::size_t size) const;
  Length _lengthAt(std::uint64_t position) const;
  void _dropOldest();

  // Untouched until it is needed.
  const std::unique_ptr<char[]> _bytes = std::make_unique_for_overwrite<char[]>(kBytes);
  std::atomic<std::uint64_t> _begin = 0;
  std::atomic<std::uint64_t> _end = 0;
  std::size_t _count = 0;
};

}  // namespace platform
