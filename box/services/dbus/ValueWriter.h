#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <systemd/sd-bus.h>

#include "box/services/dbus/ValueCoding.h"
#include "platform/foundation/Dictionary.h"

namespace box {

/// Appends arguments to a message.
///
/// A layer is written as its path. Absent values and other objects are omitted from dictionaries.
/// In text that is not UTF-8 invalid bytes are replaced. After the first failure (out of memory,
/// nested deeper than kMaximumValueDepth) nothing is appended.
class ValueWriter {
 public:
  explicit ValueWriter(sd_bus_message* message) : _message(message) {}

  void appendStatus(std::int32_t status);
  void appendState(std::uint64_t state);
  void appendString(const std::string& text);
  /// Appends an `av`.
  void appendValueOrNone(const platform::Value& value);
  /// Appends an `a{sv}`.
  void appendDictionary(const platform::Dictionary& dictionary);
  void appendData(const platform::Bytes& data);

  /// 0, or the negative errno of the first failure.
  int error() const { return _error; }
  /// The approximate size of the arguments on the wire.
  std::size_t bytes() const { return _bytes; }

 private:
  bool _check(int result);
  bool _open(char type, const char* contents);
  void _close();
  void _basic(char type, const void* value, std::size_t bytes);
  void _variant(const platform::Value& value, int depth);
  void _number(const platform::Number& number);
  void _array(const platform::Array& array, int depth);
  void _dictionary(const platform::Dictionary& dictionary, int depth);

  sd_bus_message* _message;
  int _error = 0;
  std::size_t _bytes = 0;
};

}  // namespace box
