#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

#include "platform/foundation/Describe.h"
#include "platform/foundation/SharedStorage.h"
#include "platform/foundation/Value.h"

namespace platform {

/// The entries in order. If there are more than kLinear, `index` is a hash table of their positions
/// (open addressing, linear probing).
struct Dictionary::Storage {
  static constexpr std::size_t kLinear = 16;
  static constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);
  static constexpr std::uint32_t kFree = static_cast<std::uint32_t>(-1);

  std::vector<Entry> entries;
  std::vector<std::uint32_t> index;  // its size is a power of two; at most half full

  std::size_t find(std::string_view key) const {
    if (!index.empty()) {
      const std::uint32_t position = index[slot(key)];
      return position == kFree ? kNotFound : position;
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].first == key) return i;
    }
    return kNotFound;
  }

  /// `key` must be new.
  void append(std::string_view key, Value value) {
    entries.emplace_back(std::string(key), std::move(value));
    if (entries.size() * 2 > index.size()) {
      rebuild();
    } else {
      index[slot(key)] = static_cast<std::uint32_t>(entries.size() - 1);
    }
  }

  void erase(std::size_t position) {
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(position));
    rebuild();
  }

 private:
  /// The slot of `key` in the index, or the free slot for it.
  std::size_t slot(std::string_view key) const {
    const std::size_t mask = index.size() - 1;
    std::size_t at = std::hash<std::string_view>()(key) & mask;
    while (index[at] != kFree && entries[index[at]].first != key) at = (at + 1) & mask;
    return at;
  }

  void rebuild() {
    index.clear();
    if (entries.size() <= kLinear) return;
    std::size_t size = 4 * kLinear;
    while (size < entries.size() * 4) size *= 2;
    index.assign(size, kFree);
    for (std::size_t i = 0; i < entries.size(); ++i)
      index[slot(entries[i].first)] = static_cast<std::uint32_t>(i);
  }
};

Dictionary::Dictionary() = default;
Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  for (const auto& [key, value] : entries) set(key, value);
}

std::size_t Dictionary::size() const { return _storage ? _storage->entries.size() : 0; }
const Dictionary::Entry* Dictionary::begin() const {
  return _storage ? _storage->entries.data() : nullptr;
}
const Dictionary::Entry* Dictionary::end() const { return begin() + size(); }

const Value* Dictionary::find(std::string_view key) const {
  if (!_storage) return nullptr;
  const std::size_t position = _storage->find(key);
  return position == Storage::kNotFound ? nullptr : &_storage->entries[position].second;
}

Value Dictionary::get(std::string_view key) const {
  const Value* value = find(key);
  return value ? *value : Value();
}

namespace {

template <typename T>
std::optional<T> copied(const T* value) {
  return value ? std::optional<T>(*value) : std::nullopt;
}

}  // namespace

std::optional<std::string> Dictionary::string(std::string_view key) const {
  const Value* value = find(key);
  return value ? copied(value->asString()) : std::nullopt;
}
std::optional<Number> Dictionary::number(std::string_view key) const {
  const Value* value = find(key);
  return value ? copied(value->asNumber()) : std::nullopt;
}
std::optional<Dictionary> Dictionary::dictionary(std::string_view key) const {
  const Value* value = find(key);
  return value ? copied(value->asDictionary()) : std::nullopt;
}
std::optional<Array> Dictionary::array(std::string_view key) const {
  const Value* value = find(key);
  return value ? copied(value->asArray()) : std::nullopt;
}
std::shared_ptr<const Bytes> Dictionary::data(std::string_view key) const {
  const Value* value = find(key);
  return value ? value->sharedData() : nullptr;
}
std::optional<Date> Dictionary::date(std::string_view key) const {
  const Value* value = find(key);
  return value ? copied(value->asDate()) : std::nullopt;
}
bool Dictionary::boolean(std::string_view key) const {
  const Value* value = find(key);
  const Number* number = value ? value->asNumber() : nullptr;
  return number && number->boolValue();
}

void Dictionary::set(std::string_view key, Value value) {
  if (value.isNone()) {
    remove(key);
    return;
  }
  Storage& storage = _mutableStorage();
  const std::size_t position = storage.find(key);
  if (position == Storage::kNotFound) {
    storage.append(key, std::move(value));
  } else {
    storage.entries[position].second = std::move(value);
  }
}

void Dictionary::remove(std::string_view key) {
  if (!contains(key)) return;
  Storage& storage = _mutableStorage();
  storage.erase(storage.find(key));
}

void Dictionary::merge(const Dictionary& other) {
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): `other` may be this dictionary
  const Dictionary source = other;
  for (const auto& [key, value] : source) set(key, value);
}

std::string Dictionary::description() const {
  std::string text;
  appendDescription(text, *this, 0);
  return text;
}

bool operator==(const Dictionary& a, const Dictionary& b) {
  return a.size() == b.size() &&
         std::all_of(a.begin(), a.end(), [&](const Dictionary::Entry& entry) {
           const Value* value = b.find(entry.first);
           return value && *value == entry.second;
         });
}

Dictionary::Storage& Dictionary::_mutableStorage() { return ownedStorage(_storage); }

}  // namespace platform
