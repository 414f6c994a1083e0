#include "box/services/dbus/ValueWriter.h"

#include <cerrno>
#include <cstdint>

#include "platform/foundation/Utf8.h"
#include "platform/foundation/Value.h"
#include "platform/ui/scene/Layer.h"

namespace box {

namespace {

/// Returns null if the value is not a layer.
std::shared_ptr<platform::Layer> layerOf(const platform::Value& value) {
  return std::dynamic_pointer_cast<platform::Layer>(value.asObject());
}

bool isUnencodable(const platform::Value& value) {
  using Kind = platform::Value::Kind;
  return value.kind() == Kind::None || (value.kind() == Kind::Object && !layerOf(value));
}

}  // namespace

bool ValueWriter::_check(int result) {
  if (result < 0 && _error == 0) _error = result;
  return _error == 0;
}

bool ValueWriter::_open(char type, const char* contents) {
  return _error == 0 && _check(sd_bus_message_open_container(_message, type, contents));
}

void ValueWriter::_close() {
  if (_error == 0) _check(sd_bus_message_close_container(_message));
}

void ValueWriter::_basic(char type, const void* value, std::size_t bytes) {
  if (_error != 0) return;
  _check(sd_bus_message_append_basic(_message, type, value));
  _bytes += bytes;
}

void ValueWriter::appendStatus(std::int32_t status) { _basic('i', &status, sizeof status); }

void ValueWriter::appendState(std::uint64_t state) { _basic('t', &state, sizeof state); }

void ValueWriter::appendString(const std::string& text) {
  if (platform::isValidText(text)) {
    _basic('s', text.c_str(), text.size() + 5);
  } else {
    const std::string valid = platform::replacingInvalidText(text);
    _basic('s', valid.c_str(), valid.size() + 5);
  }
}

void ValueWriter::appendValueOrNone(const platform::Value& value) {
  if (!_open('a', "v")) return;
  _variant(value, 0);
  _close();
}

void ValueWriter::appendDictionary(const platform::Dictionary& dictionary) {
  _dictionary(dictionary, 1);
}

void ValueWriter::appendData(const platform::Bytes& data) {
  if (_error != 0) return;
  _check(sd_bus_message_append_array(_message, 'y', data.data(), data.size()));
  _bytes += data.size() + 4;
}

void ValueWriter::_number(const platform::Number& number) {
  using Kind = platform::Number::Kind;
  switch (number.kind()) {
    case Kind::Boolean: {
      const int value = number.boolValue() ? 1 : 0;
      if (_open('v', "b")) _basic('b', &value, sizeof value);
      break;
    }
    case Kind::Int32: {
      const std::int32_t value = number.int32Value();
      if (_open('v', "i")) _basic('i', &value, sizeof value);
      break;
    }
    case Kind::UInt32: {
      const std::uint32_t value = number.uint32Value();
      if (_open('v', "u")) _basic('u', &value, sizeof value);
      break;
    }
    case Kind::Int64: {
      const std::int64_t value = number.int64Value();
      if (_open('v', "x")) _basic('x', &value, sizeof value);
      break;
    }
    case Kind::UInt64: {
      const std::uint64_t value = number.uint64Value();
      if (_open('v', "t")) _basic('t', &value, sizeof value);
      break;
    }
    case Kind::Float:
    case Kind::Double: {
      const double value = number.doubleValue();
      if (_open('v', "d")) _basic('d', &value, sizeof value);
      break;
    }
  }
  _close();
}

void ValueWriter::_variant(const platform::Value& value, int depth) {
  using Kind = platform::Value::Kind;
  _bytes += 4;
  switch (value.kind()) {
    case Kind::None:
      return;
    case Kind::Object: {
      const auto layer = layerOf(value);
      if (!layer) return;
      if (_open('v', "s")) appendString(layer->path());
      return _close();
    }
    case Kind::Number:
      return _number(*value.asNumber());
    case Kind::String:
      if (_open('v', "s")) appendString(*value.asString());
      return _close();
    case Kind::Data:
      if (_open('v', "ay")) appendData(*value.asData());
      return _close();
    case Kind::Array:
      if (_open('v', "av")) _array(*value.asArray(), depth + 1);
      return _close();
    case Kind::Dictionary:
      if (_open('v', "a{sv}")) _dictionary(*value.asDictionary(), depth + 1);
      return _close();
    case Kind::Date:
      if (_open('v', "(d)") && _open('r', "d")) {
        _basic('d', &value.asDate()->secondsSince1970, sizeof(double));
      }
      break;
    case Kind::Null:
      if (_open('v', "(s)") && _open('r', "s")) _basic('s', "null", 9);
      break;
  }
  _close();
  _close();
}

void ValueWriter::_array(const platform::Array& array, int depth) {
  if (depth > kMaximumValueDepth) return void(_check(-ELOOP));
  if (!_open('a', "v")) return;
  for (const platform::Value& value : array) _variant(value, depth);
  _close();
}

void ValueWriter::_dictionary(const platform::Dictionary& dictionary, int depth) {
  if (depth > kMaximumValueDepth) return void(_check(-ELOOP));
  if (!_open('a', "{sv}")) return;
  for (const auto& [key, value] : dictionary) {
    if (isUnencodable(value)) continue;
    if (!_open('e', "sv")) return;
    appendString(key);
    _variant(value, depth);
    _close();
  }
  _close();
}

}  // namespace box
