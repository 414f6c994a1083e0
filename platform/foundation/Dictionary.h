#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Bytes.h"
#include "platform/foundation/Date.h"

namespace platform {

class Number;
class Value;  // see Value.h, which users of single values include

/// An ordered list of values. Copy-on-write: copies share their storage until one of them is
/// changed.
class Array {
 public:
  Array();
  Array(std::initializer_list<Value> values);
  explicit Array(std::vector<Value> values);

  std::size_t size() const;
  bool empty() const { return size() == 0; }
  /// `index` must be below size().
  const Value& operator[](std::size_t index) const;
  const Value* begin() const;
  const Value* end() const;

  void append(Value value);
  void set(std::size_t index, Value value);

  std::string description() const;
  friend bool operator==(const Array& a, const Array& b);

 private:
  std::vector<Value>& _mutableStorage();
  std::shared_ptr<std::vector<Value>> _storage;  // null while empty
};

/// A map with string keys that keeps the order of insertion. Copy-on-write like Array. Comparison
/// ignores the order.
class Dictionary {
 public:
  using Entry = std::pair<std::string, Value>;

  Dictionary();
  Dictionary(std::initializer_list<Entry> entries);

  std::size_t size() const;
  bool empty() const { return size() == 0; }
  const Entry* begin() const;
  const Entry* end() const;

  /// The value for `key`, or null. The pointer is valid until this dictionary is changed or
  /// destroyed.
  const Value* find(std::string_view key) const;
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  /// The value for `key`, or a Value of kind None.
  Value get(std::string_view key) const;

  /// Typed access. Empty if the key is missing or its value has another kind.
  std::optional<std::string> string(std::string_view key) const;
  std::optional<Number> number(std::string_view key) const;
  std::optional<Dictionary> dictionary(std::string_view key) const;
  std::optional<Array> array(std::string_view key) const;
  std::shared_ptr<const Bytes> data(std::string_view key) const;
  std::optional<Date> date(std::string_view key) const;
  /// False if the key is missing or its value is not a number.
  bool boolean(std::string_view key) const;

  /// Adds or replaces a value. A replaced key keeps its position. A value of kind None removes the
  /// key.
  void set(std::string_view key, Value value);
  void remove(std::string_view key);
  void merge(const Dictionary& other);

  std::string description() const;
  friend bool operator==(const Dictionary& a, const Dictionary& b);

 private:
  struct Storage;
  Storage& _mutableStorage();
  std::shared_ptr<Storage> _storage;  // null while empty
};

}  // namespace platform
