#include "media/link/WireWriter.h"

#include <bit>

#include "media/link/WireReader.h"
#include "platform/foundation/Utf8.h"
#include "platform/foundation/Value.h"

namespace media {

using platform::Number;
using platform::Value;

WireWriter& WireWriter::put(double value) { return put(std::bit_cast<std::uint64_t>(value)); }

WireWriter& WireWriter::put(std::string_view text) {
  // WireReader rejects text that is not UTF-8, but texts of media may have any bytes.
  if (platform::isValidText(text)) return put(std::as_bytes(std::span(text)));
  const std::string valid = platform::replacingInvalidText(text);
  return put(std::as_bytes(std::span(valid)));
}

WireWriter& WireWriter::put(std::span<const std::byte> bytes) {
  putCount(bytes.size());
  _bytes.insert(_bytes.end(), bytes.begin(), bytes.end());
  return *this;
}

WireWriter& WireWriter::put(const platform::Error& error) {
  return put(error.domain)
      .put(error.code)
      .put(error.localizedDescription)
      .put(error.localizedFailureReason)
      .put(error.localizedRecoverySuggestion);
}

void WireWriter::_put(const Number& number) {
  put(number.kind());
  switch (number.kind()) {
    case Number::Kind::UInt32:
    case Number::Kind::UInt64:
      put(number.uint64Value());
      return;
    case Number::Kind::Float:
    case Number::Kind::Double:
      put(number.doubleValue());
      return;
    default:
      put(number.int64Value());
  }
}

WireWriter& WireWriter::_put(const Value& value, int depth) {
  const bool isTooDeep = depth >= WireReader::kDepthLimit;
  switch (value.kind()) {
    case Value::Kind::String:
      return put(value.kind()).put(*value.asString());
    case Value::Kind::Number:
      put(value.kind());
      _put(*value.asNumber());
      return *this;
    case Value::Kind::Data:
      return put(value.kind()).put(std::span<const std::byte>(*value.asData()));
    case Value::Kind::Date:
      return put(value.kind()).put(*value.asDate());
    case Value::Kind::Array:
      return isTooDeep ? put(Value::Kind::None) : put(value.kind())._put(*value.asArray(), depth);
    case Value::Kind::Dictionary:
      return isTooDeep ? put(Value::Kind::None)
                       : put(value.kind())._put(*value.asDictionary(), depth);
    case Value::Kind::Null:
      return put(value.kind());
    case Value::Kind::None:
    case Value::Kind::Object:
      break;
  }
  return put(Value::Kind::None);
}

WireWriter& WireWriter::_put(const platform::Dictionary& dictionary, int depth) {
  putCount(dictionary.size());
  for (const auto& [key, value] : dictionary) put(key)._put(value, depth + 1);
  return *this;
}

WireWriter& WireWriter::_put(const platform::Array& array, int depth) {
  putCount(array.size());
  for (const Value& each : array) _put(each, depth + 1);
  return *this;
}

}  // namespace media
