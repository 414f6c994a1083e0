#include "box/process/Memory.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <string>

#include <malloc.h>

namespace box {

namespace {

/// Returns the value of the line that starts with `name`, converted from kB to bytes.
std::optional<std::uint64_t> bytesOf(std::string_view text, std::string_view name) {
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.starts_with(name)) continue;
    line.remove_prefix(name.size());
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    std::uint64_t kilobytes = 0;
    const auto result = std::from_chars(line.data(), line.data() + line.size(), kilobytes);
    if (result.ec != std::errc()) return std::nullopt;
    return kilobytes * 1024;
  }
  return std::nullopt;
}

}  // namespace

std::optional<MemoryUse> memoryUseFromText(std::string_view text) {
  const auto resident = bytesOf(text, "Rss:");
  const auto proportional = bytesOf(text, "Pss:");
  if (!resident || !proportional) return std::nullopt;
  return MemoryUse{.resident = *resident, .proportional = *proportional};
}

std::optional<MemoryUse> memoryUse() {
  std::ifstream file("/proc/self/smaps_rollup");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  auto use = memoryUseFromText(text);
  if (use) {
    const auto heap = mallinfo2();
    use->allocated = heap.uordblks + heap.hblkhd;
  }
  return use;
}

}  // namespace box
