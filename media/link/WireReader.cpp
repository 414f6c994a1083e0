#include "media/link/WireReader.h"

#include <bit>
#include <cmath>

#include "platform/foundation/Utf8.h"
#include "platform/foundation/Value.h"

namespace media {

using platform::Number;
using platform::Value;

std::span<const std::byte> WireReader::_take(std::size_t count) {
  if (count > _rest.size()) fail();
  if (_failed) return {};
  const auto taken = _rest.first(count);
  _rest = _rest.subspan(count);
  return taken;
}

std::size_t WireReader::takeCount(std::size_t limit) {
  const std::size_t count = take<std::uint32_t>();
  if (count > limit || count > _rest.size()) fail();
  return _failed ? 0 : count;
}

double WireReader::takeDouble() { return std::bit_cast<double>(take<std::uint64_t>()); }

double WireReader::takeFinite() {
  const double value = takeDouble();
  if (!std::isfinite(value)) fail();
  return _failed ? 0 : value;
}

std::string WireReader::takeText() {
  const auto bytes = _take(take<std::uint32_t>());
  std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (!platform::isValidText(text)) fail();
  return _failed ? std::string() : text;
}

std::vector<std::byte> WireReader::takeBytes() {
  const auto bytes = _take(take<std::uint32_t>());
  return {bytes.begin(), bytes.end()};
}

platform::Error WireReader::takeError() {
  const auto text = [](WireReader& reader) { return reader.takeText(); };
  platform::Error error;
  error.domain = takeText();
  error.code = take<std::int64_t>();
  error.localizedDescription = takeOptional(text);
  error.localizedFailureReason = takeOptional(text);
  error.localizedRecoverySuggestion = takeOptional(text);
  return error;
}

Value WireReader::_takeNumber() {
  switch (takeEnum(Number::Kind::Double)) {
    case Number::Kind::Boolean:
      return take<std::int64_t>() != 0;
    case Number::Kind::Int32:
      return static_cast<std::int32_t>(take<std::int64_t>());
    case Number::Kind::UInt32:
      return static_cast<std::uint32_t>(take<std::uint64_t>());
    case Number::Kind::Int64:
      return take<std::int64_t>();
    case Number::Kind::UInt64:
      return take<std::uint64_t>();
    case Number::Kind::Float:
      return static_cast<float>(takeDouble());
    case Number::Kind::Double:
      return takeDouble();
  }
  return {};
}

Value WireReader::takeValue() { return _takeValue(0); }

Value WireReader::_takeValue(int depth) {
  if (++_values > kValueLimit) fail();
  switch (takeEnum(Value::Kind::Dictionary)) {
    case Value::Kind::None:
    case Value::Kind::Object:
      return {};
    case Value::Kind::Null:
      return Value::null();
    case Value::Kind::String:
      return takeText();
    case Value::Kind::Number:
      return _takeNumber();
    case Value::Kind::Data:
      return takeBytes();
    case Value::Kind::Date:
      return takeDate();
    case Value::Kind::Array:
      return _takeArray(depth);
    case Value::Kind::Dictionary:
      return _takeDictionary(depth);
  }
  return {};
}

platform::Dictionary WireReader::_takeDictionary(int depth) {
  platform::Dictionary dictionary;
  if (depth >= kDepthLimit) fail();
  const std::size_t count = takeCount(_rest.size());
  for (std::size_t index = 0; index < count && !_failed; ++index) {
    std::string key = takeText();
    dictionary.set(key, _takeValue(depth + 1));
  }
  return dictionary;
}

platform::Array WireReader::_takeArray(int depth) {
  platform::Array array;
  if (depth >= kDepthLimit) fail();
  const std::size_t count = takeCount(_rest.size());
  for (std::size_t index = 0; index < count && !_failed; ++index)
    array.append(_takeValue(depth + 1));
  return array;
}

}  // namespace media
