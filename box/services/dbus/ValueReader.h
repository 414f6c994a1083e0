#pragma once

#include <cstddef>
#include <string>

#include <systemd/sd-bus.h>

#include "box/services/dbus/ValueCoding.h"
#include "platform/foundation/Dictionary.h"

namespace box {

/// Reads the arguments of a message in order. After a failure no other argument may be read.
class ValueReader {
 public:
  explicit ValueReader(sd_bus_message* message) : _message(message) {}

  bool readString(std::string& result);
  bool readDouble(double& result);
  /// Reads a `v`.
  bool readVariant(platform::Value& result);
  /// Reads an `av` with at most one element.
  bool readValueOrNone(platform::Value& result);
  /// Reads an `a{sv}`. The last one of several entries with the same key wins.
  bool readDictionary(platform::Dictionary& result);

  const char* failure() const { return _failure; }

 private:
  bool _fail(const char* failure);
  bool _count(std::size_t bytes);
  bool _readVariant(platform::Value& result, int depth);
  /// Reads a value whose signature is one letter.
  bool _readBasic(char type, platform::Value& result);
  bool _readArray(platform::Array& result, int depth);
  bool _readDictionary(platform::Dictionary& result, int depth);
  bool _readData(platform::Value& result);
  bool _readStructure(char content, platform::Value& result);
  template <typename Wire, typename Result>
  bool _readNumber(char type, platform::Value& result);

  sd_bus_message* _message;
  std::size_t _bytes = 0;
  const char* _failure = "malformed message";
};

}  // namespace box
