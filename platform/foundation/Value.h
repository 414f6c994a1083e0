#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/foundation/Bytes.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Dictionary.h"

namespace platform {

class Object;

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

  // Not inline, so that they are compiled once.
  Value() noexcept;
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  Value(std::nullopt_t);
  Value(NullTag);
  Value(std::string value);
  Value(std::string_view value);
  Value(const char* value);
  Value(bool value);
  Value(std::int32_t value);
  Value(std::uint32_t value);
  Value(std::int64_t value);
  Value(std::uint64_t value);
  Value(float value);
  Value(double value);
  Value(platform::Number value);
  Value(Bytes value);
  Value(std::shared_ptr<const Bytes> value);
  Value(platform::Date value);
  Value(platform::Array value);
  Value(platform::Dictionary value);
  Value(std::shared_ptr<platform::Object> value);
  /// Other pointers would convert to bool.
  template <typename T>
  Value(T*) = delete;

  static Value null() { return Value(NullTag{}); }

  Kind kind() const;
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
