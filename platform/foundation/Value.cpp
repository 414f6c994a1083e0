#include "platform/foundation/Value.h"

#include <type_traits>
#include <utility>

#include "platform/foundation/Describe.h"
#include "platform/foundation/Object.h"

namespace platform {

Value::Value() noexcept = default;
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;

Value::Value(std::nullopt_t) {}
Value::Value(NullTag) : _value(NullTag{}) {}
Value::Value(bool value) : _value(platform::Number(value)) {}
Value::Value(std::int32_t value) : _value(platform::Number(value)) {}
Value::Value(std::uint32_t value) : _value(platform::Number(value)) {}
Value::Value(std::int64_t value) : _value(platform::Number(value)) {}
Value::Value(std::uint64_t value) : _value(platform::Number(value)) {}
Value::Value(float value) : _value(platform::Number(value)) {}
Value::Value(double value) : _value(platform::Number(value)) {}
Value::Value(platform::Number value) : _value(value) {}
Value::Value(platform::Date value) : _value(value) {}
Value::Value(platform::Array value) : _value(std::move(value)) {}
Value::Value(platform::Dictionary value) : _value(std::move(value)) {}
Value::Value(std::string value) : _value(std::make_shared<const std::string>(std::move(value))) {}
Value::Value(std::string_view value) : _value(std::make_shared<const std::string>(value)) {}
Value::Value(const char* value) {
  if (value) _value = std::make_shared<const std::string>(value);
}
Value::Value(Bytes value) : _value(std::make_shared<const Bytes>(std::move(value))) {}
Value::Value(std::shared_ptr<const Bytes> value) {
  if (value) _value = std::move(value);
}
Value::Value(std::shared_ptr<platform::Object> value) {
  if (value) _value = std::move(value);
}

Value::Kind Value::kind() const { return static_cast<Kind>(_value.index()); }

const std::string* Value::asString() const {
  const auto* held = std::get_if<std::shared_ptr<const std::string>>(&_value);
  return held ? held->get() : nullptr;
}
const platform::Number* Value::asNumber() const { return std::get_if<platform::Number>(&_value); }
const Bytes* Value::asData() const {
  const auto* held = std::get_if<std::shared_ptr<const Bytes>>(&_value);
  return held ? held->get() : nullptr;
}
const platform::Date* Value::asDate() const { return std::get_if<platform::Date>(&_value); }
const platform::Array* Value::asArray() const { return std::get_if<platform::Array>(&_value); }
const platform::Dictionary* Value::asDictionary() const {
  return std::get_if<platform::Dictionary>(&_value);
}
std::shared_ptr<platform::Object> Value::asObject() const {
  const auto* held = std::get_if<std::shared_ptr<platform::Object>>(&_value);
  return held ? *held : nullptr;
}
std::shared_ptr<const Bytes> Value::sharedData() const {
  const auto* held = std::get_if<std::shared_ptr<const Bytes>>(&_value);
  return held ? *held : nullptr;
}

std::string Value::description() const {
  std::string text;
  appendDescription(text, *this);
  return text;
}

bool operator==(const Value& a, const Value& b) {
  if (a.kind() != b.kind()) return false;
  if (const auto* string = a.asString()) return *string == *b.asString();
  if (const auto* data = a.asData()) return a._value == b._value || *data == *b.asData();
  return a._value == b._value;
}

}  // namespace platform
