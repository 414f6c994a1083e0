#include "box/services/dbus/ValueReader.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/foundation/Utf8.h"
#include "platform/foundation/Value.h"

namespace box {

namespace {
// Overhead of a variant, and of a string (length and terminating null).
constexpr std::size_t kVariantBytes = 4;
constexpr std::size_t kTextBytes = 5;
}  // namespace

bool ValueReader::_fail(const char* failure) {
  _failure = failure;
  return false;
}

bool ValueReader::_count(std::size_t bytes) {
  _bytes += bytes;
  return _bytes <= kMaximumMessageBytes || _fail("the message exceeds 16 MiB");
}

bool ValueReader::readString(std::string& result) {
  const char* text = nullptr;
  if (sd_bus_message_read_basic(_message, 's', &text) <= 0) return _fail("a string is not UTF-8");
  const std::string_view view(text);
  if (!_count(view.size() + kTextBytes)) return false;
  if (!platform::isValidText(view)) return _fail("a string is not UTF-8");
  result = view;
  return true;
}

bool ValueReader::readDouble(double& result) {
  return sd_bus_message_read_basic(_message, 'd', &result) > 0 && _count(sizeof result);
}

bool ValueReader::readVariant(platform::Value& result) { return _readVariant(result, 0); }

bool ValueReader::readValueOrNone(platform::Value& result) {
  if (sd_bus_message_enter_container(_message, 'a', "v") <= 0) return false;
  if (sd_bus_message_at_end(_message, 0) == 0 && !_readVariant(result, 0)) return false;
  if (sd_bus_message_at_end(_message, 0) == 0)
    return _fail("an optional value has several elements");
  return sd_bus_message_exit_container(_message) >= 0;
}

bool ValueReader::readDictionary(platform::Dictionary& result) {
  return _readDictionary(result, 1);
}

template <typename Wire, typename Result>
bool ValueReader::_readNumber(char type, platform::Value& result) {
  Wire number{};
  if (sd_bus_message_read_basic(_message, type, &number) <= 0) return false;
  result = static_cast<Result>(number);
  return _count(sizeof number);
}

bool ValueReader::_readBasic(char type, platform::Value& result) {
  switch (type) {
    case 's': {
      std::string text;
      if (!readString(text)) return false;
      result = std::move(text);
      return true;
    }
    case 'b':
      return _readNumber<int, bool>(type, result);
    case 'i':
      return _readNumber<std::int32_t, std::int32_t>(type, result);
    case 'u':
      return _readNumber<std::uint32_t, std::uint32_t>(type, result);
    case 'x':
      return _readNumber<std::int64_t, std::int64_t>(type, result);
    case 't':
      return _readNumber<std::uint64_t, std::uint64_t>(type, result);
    case 'd':
      return _readNumber<double, double>(type, result);
    case 'n':
      return _readNumber<std::int16_t, std::int32_t>(type, result);
    case 'q':
      return _readNumber<std::uint16_t, std::uint32_t>(type, result);
    case 'y':
      return _readNumber<std::uint8_t, std::uint32_t>(type, result);
    default:
      return _fail("unknown value type");
  }
}

bool ValueReader::_readVariant(platform::Value& result, int depth) {
  char type = 0;
  const char* contents = nullptr;
  if (sd_bus_message_peek_type(_message, &type, &contents) <= 0 || type != 'v' || !contents)
    return false;
  const std::string_view signature(contents);
  if (!_count(kVariantBytes + signature.size())) return false;
  if (sd_bus_message_enter_container(_message, 'v', contents) <= 0) return false;

  bool read = false;
  if (signature.size() == 1) {
    read = _readBasic(signature[0], result);
  } else if (signature == "a{sv}") {
    platform::Dictionary dictionary;
    read = _readDictionary(dictionary, depth + 1);
    if (read) result = std::move(dictionary);
  } else if (signature == "av") {
    platform::Array array;
    read = _readArray(array, depth + 1);
    if (read) result = std::move(array);
  } else if (signature == "ay") {
    read = _readData(result);
  } else if (signature == "(d)" || signature == "(s)") {
    read = _readStructure(signature[1], result);
  } else {
    return _fail("unknown value type");
  }
  return read && sd_bus_message_exit_container(_message) >= 0;
}

bool ValueReader::_readArray(platform::Array& result, int depth) {
  if (depth > kMaximumValueDepth) return _fail("values are nested too deep");
  if (sd_bus_message_enter_container(_message, 'a', "v") <= 0) return false;
  int atEnd = 0;
  while ((atEnd = sd_bus_message_at_end(_message, 0)) == 0) {
    platform::Value value;
    if (!_readVariant(value, depth)) return false;
    result.append(std::move(value));
  }
  return atEnd > 0 && sd_bus_message_exit_container(_message) >= 0;
}

bool ValueReader::_readDictionary(platform::Dictionary& result, int depth) {
  if (depth > kMaximumValueDepth) return _fail("values are nested too deep");
  if (sd_bus_message_enter_container(_message, 'a', "{sv}") <= 0) return false;
  int entered = 0;
  while ((entered = sd_bus_message_enter_container(_message, 'e', "sv")) > 0) {
    std::string key;
    platform::Value value;
    if (!readString(key) || !_readVariant(value, depth)) return false;
    result.set(key, std::move(value));
    if (sd_bus_message_exit_container(_message) < 0) return false;
  }
  return entered == 0 && sd_bus_message_exit_container(_message) >= 0;
}

bool ValueReader::_readData(platform::Value& result) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (sd_bus_message_read_array(_message, 'y', &bytes, &size) < 0) return false;
  if (!_count(size)) return false;
  const auto* first = static_cast<const std::byte*>(bytes);
  result = size == 0 ? platform::Bytes() : platform::Bytes(first, first + size);
  return true;
}

bool ValueReader::_readStructure(char content, platform::Value& result) {
  const char contents[] = {content, 0};
  if (sd_bus_message_enter_container(_message, 'r', contents) <= 0) return false;
  if (content == 'd') {
    platform::Date date;
    if (!readDouble(date.secondsSince1970)) return false;
    if (!std::isfinite(date.secondsSince1970)) return _fail("a date is not finite");
    result = date;
  } else {
    std::string text;
    if (!readString(text)) return false;
    if (text != "null") return _fail("unknown value type");
    result = platform::Value::null();
  }
  return sd_bus_message_exit_container(_message) >= 0;
}

}  // namespace box
