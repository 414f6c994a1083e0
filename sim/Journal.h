#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Records the application's calls of all services in order, one entry per call, such as
/// `systemService.wakeSystem(0)`. Each service also keeps its calls in a typed form.
///
/// Threads: any.
class Journal {
 public:
  void add(std::string entry);
  std::vector<std::string> entries() const;
  /// Number of entries that begin with `prefix`.
  std::size_t count(std::string_view prefix) const;
  void clear();

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _entries;
};

}  // namespace sim
