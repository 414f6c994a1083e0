#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// What the application asked of its box, in order, across all services: one entry a call, such as
/// `systemService.wakeSystem(0)`. Each service also keeps what was asked of it in its own form.
///
/// Threads: any.
class Journal {
 public:
  void add(std::string entry);
  std::vector<std::string> entries() const;
  /// Entries that begin with `prefix`; all of them with an empty one.
  std::size_t count(std::string_view prefix) const;
  void clear();

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _entries;
};

}  // namespace sim
