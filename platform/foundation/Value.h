#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/foundation/Bytes.h"
#include "platform/foundation/Date.h"

namespace platform {

class Object;
class Value;

/// A number that keeps the type it was created from and compares by value: `Number(1) ==
/// Number(1.0)` and `Number(true) == Number(1)`.
///
/// A boolean prints as `1` or `0`. Use yesNo() to print `YES` or `NO`.
class Number {
 public:
  enum class Kind { Boolean, Int32, UInt32, Int64, UInt64, Float, Double };

  explicit Number(bool value);
  explicit Number(std::int32_t value);
  explicit Number(std::uint32_t value);
  explicit Number(std::int64_t value);
  explicit Number(std::uint64_t value);
  explicit Number(float value);
  explicit Number(double value);

  Kind kind() const { return _kind; }
  bool isInteger() const { return _kind != Kind::Float && _kind != Kind::Double; }

  /// Conversions saturate: a value outside the range of the target becomes the nearest limit. NaN
  /// becomes 0 or false where the target has no NaN.
  bool boolValue() const;
  std::int32_t int32Value() const;
  std::uint32_t uint32Value() const;
  /// The integer part modulo 2^32: -1 becomes 4294967295. 0 for NaN and infinity.
  std::uint32_t wrappedUInt32Value() const;
  std::int64_t int64Value() const;
  std::uint64_t uint64Value() const;
  float floatValue() const;
  double doubleValue() const;

  std::string description() const;

  friend bool operator==(const Number& a, const Number& b);

 private:
  Kind _kind;
  std::variant<std::int64_t, std::uint64_t, double> _value;
};

/// "YES" or "NO".
std::string_view yesNo(bool value);

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

/// A property-list value, or nothing (kind None).
///
/// Strings are UTF-8. Containers and data share their storage and are immutable while shared. Kind
/// Object is not part of property lists: it holds a reference inside the process and is never sent
/// to another process.
///
/// Threads: as for an int. Concurrent reads are safe; copies used on different threads may share
/// storage.
class Value {
 public:
  enum class Kind { None, Null, String, Number, Data, Date, Array, Dictionary, Object };
  struct NullTag {
    friend bool operator==(const NullTag&, const NullTag&) = default;
  };

  Value() = default;
  Value(std::nullopt_t) {}
  Value(NullTag) : _value(NullTag{}) {}
  Value(std::string value);
  Value(std::string_view value);
  Value(const char* value);
  Value(bool value) : _value(platform::Number(value)) {}
  Value(std::int32_t value) : _value(platform::Number(value)) {}
  Value(std::uint32_t value) : _value(platform::Number(value)) {}
  Value(std::int64_t value) : _value(platform::Number(value)) {}
  Value(std::uint64_t value) : _value(platform::Number(value)) {}
  Value(float value) : _value(platform::Number(value)) {}
  Value(double value) : _value(platform::Number(value)) {}
  Value(platform::Number value) : _value(value) {}
  Value(Bytes value);
  Value(std::shared_ptr<const Bytes> value);
  Value(platform::Date value) : _value(value) {}
  Value(platform::Array value) : _value(std::move(value)) {}
  Value(platform::Dictionary value) : _value(std::move(value)) {}
  Value(std::shared_ptr<platform::Object> value);
  /// Other pointers would convert to bool.
  template <typename T>
  Value(T*) = delete;

  static Value null() { return Value(NullTag{}); }

  Kind kind() const { return static_cast<Kind>(_value.index()); }
  bool isNone() const { return kind() == Kind::None; }
  explicit operator bool() const { return !isNone(); }

  /// Null if the value has another kind.
  const std::string* asString() const;
  const platform::Number* asNumber() const;
  const Bytes* asData() const;
  const platform::Date* asDate() const;
  const platform::Array* asArray() const;
  const platform::Dictionary* asDictionary() const;
  std::shared_ptr<platform::Object> asObject() const;
  std::shared_ptr<const Bytes> sharedData() const;

  /// The text that `%@` prints. A string prints unquoted. Inside a container, a string that has
  /// characters other than letters, digits and underscores is quoted. Data prints as `<0a0b>`, kind
  /// None as `(null)`, kind Null as `<null>`.
  std::string description() const;

  friend bool operator==(const Value& a, const Value& b);

 private:
  // In the order of Kind.
  std::variant<std::monostate, NullTag, std::shared_ptr<const std::string>, platform::Number,
               std::shared_ptr<const Bytes>, platform::Date, platform::Array, platform::Dictionary,
               std::shared_ptr<platform::Object>>
      _value;
};

}  // namespace platform
