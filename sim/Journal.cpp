#include "sim/Journal.h"

#include <algorithm>
#include <utility>

namespace sim {

void Journal::add(std::string entry) {
  const std::lock_guard lock(_mutex);
  _entries.push_back(std::move(entry));
}

std::vector<std::string> Journal::entries() const {
  const std::lock_guard lock(_mutex);
  return _entries;
}

std::size_t Journal::count(std::string_view prefix) const {
  const std::lock_guard lock(_mutex);
  const auto matches = [&](const std::string& entry) { return entry.starts_with(prefix); };
  return static_cast<std::size_t>(std::count_if(_entries.begin(), _entries.end(), matches));
}

void Journal::clear() {
  const std::lock_guard lock(_mutex);
  _entries.clear();
}

}  // namespace sim
