#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace fuzz {

/// Writes arguments of a D-Bus message in its wire format, little-endian. Unlike sd-bus it also
/// writes what the format does not allow.
class DBusBody {
 public:
  void putDictionary(const platform::Dictionary& dictionary);
  void putArray(const platform::Array& array);
  void putVariant(const platform::Value& value);
  void putString(std::string_view text);
  const std::string& bytes() const { return _bytes; }

 private:
  template <typename Integer>
  void _put(Integer number);
  void _align(std::size_t size) { _bytes.resize((_bytes.size() + size - 1) / size * size); }
  void _putSignature(std::string_view signature);
  std::size_t _beginArray(std::size_t alignment);
  void _endArray(std::size_t lengthAt, std::size_t alignment);
  void _putNumber(const platform::Number& number);

  std::string _bytes;
};

/// A whole method call with these arguments, as it is on the wire.
std::string dbusCall(std::string_view signature, std::string_view body);

}  // namespace fuzz
