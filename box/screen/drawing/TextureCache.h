#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <unordered_map>
#include <utility>

namespace box {

/// An LRU cache with at most `countLimit` entries and a total weight of at most `weightLimit`. The
/// newest entry is always kept. References are valid until the next insert() or clear().
template <typename T>
class TextureCache {
 public:
  TextureCache(std::size_t countLimit, std::size_t weightLimit)
      : _countLimit(countLimit), _weightLimit(weightLimit) {}

  /// Returns null if the key is not cached.
  T* find(const std::string& key) {
    const auto found = _index.find(key);
    if (found == _index.end()) return nullptr;
    _entries.splice(_entries.begin(), _entries, found->second);
    return &found->second->value;
  }

  /// `key` must not be cached.
  T& insert(const std::string& key, T value, std::size_t weight) {
    _entries.push_front({key, std::move(value), weight});
    _index[key] = _entries.begin();
    _weight += weight;
    while (_entries.size() > 1 && (_entries.size() > _countLimit || _weight > _weightLimit)) {
      _weight -= _entries.back().weight;
      _index.erase(_entries.back().key);
      _entries.pop_back();
    }
    return _entries.front().value;
  }

  void clear() {
    _index.clear();
    _entries.clear();
    _weight = 0;
  }
  std::size_t size() const { return _entries.size(); }

 private:
  struct Entry {
    std::string key;
    T value;
    std::size_t weight;
  };
  const std::size_t _countLimit;
  const std::size_t _weightLimit;
  std::size_t _weight = 0;
  std::list<Entry> _entries;  // newest first
  std::unordered_map<std::string, typename std::list<Entry>::iterator> _index;
};

}  // namespace box
