#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace box {

/// Memory of the process in bytes.
struct MemoryUse {
  std::uint64_t resident = 0;
  /// Proportional set size: each shared page counts divided by the number of its users.
  std::uint64_t proportional = 0;
  std::uint64_t allocated = 0;
};

/// Returns nothing if /proc/self/smaps_rollup cannot be read.
std::optional<MemoryUse> memoryUse();

/// Parses the text of /proc/PID/smaps_rollup. `allocated` stays 0.
std::optional<MemoryUse> memoryUseFromText(std::string_view text);

}  // namespace box
