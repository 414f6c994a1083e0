#include "fuzz/support/DBusBody.h"

#include <bit>

namespace fuzz {

template <typename Integer>
void DBusBody::_put(Integer number) {
  _align(sizeof number);
  for (std::size_t byte = 0; byte < sizeof number; ++byte)
    _bytes += static_cast<char>(number >> 8 * byte & 0xff);
}

void DBusBody::putString(std::string_view text) {
  _put(static_cast<std::uint32_t>(text.size()));
  _bytes.append(text).push_back('\0');
}

void DBusBody::_putSignature(std::string_view signature) {
  _bytes += static_cast<char>(signature.size());
  _bytes.append(signature).push_back('\0');
}

std::size_t DBusBody::_beginArray(std::size_t alignment) {
  _put(std::uint32_t{0});
  const std::size_t lengthAt = _bytes.size() - 4;
  _align(alignment);
  return lengthAt;
}

void DBusBody::_endArray(std::size_t lengthAt, std::size_t alignment) {
  const std::size_t start = (lengthAt + 4 + alignment - 1) / alignment * alignment;
  const std::size_t length = _bytes.size() - start;
  for (std::size_t byte = 0; byte < 4; ++byte)
    _bytes[lengthAt + byte] = static_cast<char>(length >> 8 * byte & 0xff);
}

void DBusBody::putDictionary(const platform::Dictionary& dictionary) {
  constexpr std::size_t kEntryAlignment = 8;
  const std::size_t lengthAt = _beginArray(kEntryAlignment);
  for (const auto& [key, value] : dictionary) {
    _align(kEntryAlignment);
    putString(key);
    putVariant(value);
  }
  _endArray(lengthAt, kEntryAlignment);
}

void DBusBody::putArray(const platform::Array& array) {
  const std::size_t lengthAt = _beginArray(1);
  for (const platform::Value& each : array) putVariant(each);
  _endArray(lengthAt, 1);
}

void DBusBody::_putNumber(const platform::Number& number) {
  using Kind = platform::Number::Kind;
  switch (number.kind()) {
    case Kind::Boolean:
      _putSignature("b");
      return _put(static_cast<std::uint32_t>(number.boolValue()));
    case Kind::Int32:
      _putSignature("i");
      return _put(static_cast<std::uint32_t>(number.int32Value()));
    case Kind::UInt32:
      _putSignature("u");
      return _put(number.uint32Value());
    case Kind::Int64:
      _putSignature("x");
      return _put(static_cast<std::uint64_t>(number.int64Value()));
    case Kind::UInt64:
      _putSignature("t");
      return _put(number.uint64Value());
    case Kind::Float:
    case Kind::Double:
      _putSignature("d");
      return _put(std::bit_cast<std::uint64_t>(number.doubleValue()));
  }
}

void DBusBody::putVariant(const platform::Value& value) {
  constexpr std::size_t kStructureAlignment = 8;
  if (const auto* text = value.asString()) {
    _putSignature("s");
    putString(*text);
  } else if (const auto* number = value.asNumber()) {
    _putNumber(*number);
  } else if (const auto* data = value.asData()) {
    _putSignature("ay");
    const std::size_t lengthAt = _beginArray(1);
    for (const std::byte each : *data) _bytes += static_cast<char>(each);
    _endArray(lengthAt, 1);
  } else if (const auto* date = value.asDate()) {
    _putSignature("(d)");
    _align(kStructureAlignment);
    _put(std::bit_cast<std::uint64_t>(date->secondsSince1970));
  } else if (const auto* array = value.asArray()) {
    _putSignature("av");
    putArray(*array);
  } else if (const auto* dictionary = value.asDictionary()) {
    _putSignature("a{sv}");
    putDictionary(*dictionary);
  } else {
    _putSignature("(s)");
    _align(kStructureAlignment);
    putString("null");
  }
}

std::string dbusCall(std::string_view signature, std::string_view body) {
  std::string call{'l', 1, 1, 1};  // little-endian, a method call without reply, version 1
  const auto put = [&](std::size_t number) {
    for (std::size_t byte = 0; byte < 4; ++byte)
      call += static_cast<char>(number >> 8 * byte & 0xff);
  };
  const auto align = [&] { call.resize((call.size() + 7) / 8 * 8); };
  put(body.size());
  put(1);  // serial
  put(0);  // length of the fields
  constexpr std::size_t kFieldsAt = 16;
  const auto field = [&](char code, char type, std::string_view value) {
    align();
    call += {code, 1, type, '\0'};
    if (type == 'g')
      call += static_cast<char>(value.size());
    else
      put(value.size());
    call.append(value).push_back('\0');
  };
  field(1, 'o', "/");
  field(2, 's', "a.b");
  field(3, 's', "c");
  field(8, 'g', signature);
  const std::size_t length = call.size() - kFieldsAt;
  for (std::size_t byte = 0; byte < 4; ++byte)
    call[12 + byte] = static_cast<char>(length >> 8 * byte & 0xff);
  align();
  return call.append(body);
}

}  // namespace fuzz
