#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace box {

/// What the process holds in memory, in bytes.
struct MemoryUse {
  std::uint64_t resident = 0;
  /// Pages that are shared count by their share.
  std::uint64_t proportional = 0;
  /// Of the heap, what has been asked for and not given back.
  std::uint64_t allocated = 0;
};

/// Nothing where the kernel does not tell.
std::optional<MemoryUse> memoryUse();

/// From the text of /proc/PID/smaps_rollup, which knows nothing of the heap.
std::optional<MemoryUse> memoryUseFromText(std::string_view text);

}  // namespace box
