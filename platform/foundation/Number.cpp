#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "platform/foundation/Value.h"

namespace platform {

namespace {

// 2^63 and 2^64, the first doubles outside the ranges.
constexpr double kInt64Limit = 9223372036854775808.0;
constexpr double kUInt64Limit = 18446744073709551616.0;

template <typename To>
To saturated(double value) {
  if (std::isnan(value)) return 0;
  const double whole = std::trunc(value);
  if (whole < static_cast<double>(std::numeric_limits<To>::min()))
    return std::numeric_limits<To>::min();
  // The maximum of a 64-bit type rounds up to a double that is out of range, hence >=.
  if (whole >= static_cast<double>(std::numeric_limits<To>::max()))
    return std::numeric_limits<To>::max();
  return static_cast<To>(whole);
}

template <typename To, typename From>
requires std::is_integral_v<From> To saturated(From value) {
  if (std::cmp_less(value, std::numeric_limits<To>::min())) return std::numeric_limits<To>::min();
  if (std::cmp_greater(value, std::numeric_limits<To>::max()))
    return std::numeric_limits<To>::max();
  return static_cast<To>(value);
}

template <typename A, typename B>
bool equal(A a, B b) {
  if constexpr (std::is_integral_v<A> && std::is_integral_v<B>) {
    return std::cmp_equal(a, b);
  } else if constexpr (std::is_integral_v<A>) {
    // Compared as integers, because a conversion to double could round two different numbers to the
    // same value.
    constexpr double kLimit = std::is_signed_v<A> ? kInt64Limit : kUInt64Limit;
    constexpr double kFirst = std::is_signed_v<A> ? -kInt64Limit : 0;
    return b >= kFirst && b < kLimit && std::trunc(b) == b && static_cast<A>(b) == a;
  } else if constexpr (std::is_integral_v<B>) {
    return equal(b, a);
  } else {
    return a == b;
  }
}

/// The shortest text that parses to the same number. Without an exponent from 1e-4 to 1e17.
template <typename Float>
std::string shortest(Float value) {
  constexpr auto kSmall = Float(1e-4);
  constexpr auto kLarge = Float(1e17);
  const Float size = std::abs(value);
  const bool plain = size == 0 || (size >= kSmall && size < kLarge);
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, value,
                                 plain ? std::chars_format::fixed : std::chars_format::scientific);
  return std::string(text, end.ptr);
}

}  // namespace

Number::Number(bool value) : _kind(Kind::Boolean), _value(std::int64_t{value}) {}
Number::Number(std::int32_t value) : _kind(Kind::Int32), _value(std::int64_t{value}) {}
Number::Number(std::uint32_t value) : _kind(Kind::UInt32), _value(std::int64_t{value}) {}
Number::Number(std::int64_t value) : _kind(Kind::Int64), _value(value) {}
Number::Number(std::uint64_t value) : _kind(Kind::UInt64), _value(value) {}
Number::Number(float value) : _kind(Kind::Float), _value(double{value}) {}
Number::Number(double value) : _kind(Kind::Double), _value(value) {}

bool Number::boolValue() const {
  const auto* real = std::get_if<double>(&_value);
  return real ? !std::isnan(*real) && *real != 0 : uint64Value() != 0 || int64Value() != 0;
}
std::int32_t Number::int32Value() const {
  return std::visit([](auto value) { return saturated<std::int32_t>(value); }, _value);
}
std::uint32_t Number::uint32Value() const {
  return std::visit([](auto value) { return saturated<std::uint32_t>(value); }, _value);
}
std::uint32_t Number::wrappedUInt32Value() const {
  constexpr double kModulus = 4294967296.0;
  const auto* real = std::get_if<double>(&_value);
  if (!real)
    return std::visit([](auto value) { return static_cast<std::uint32_t>(value); }, _value);
  if (!std::isfinite(*real)) return 0;
  const double rest = std::fmod(std::trunc(*real), kModulus);
  return static_cast<std::uint32_t>(rest < 0 ? rest + kModulus : rest);
}
std::int64_t Number::int64Value() const {
  return std::visit([](auto value) { return saturated<std::int64_t>(value); }, _value);
}
std::uint64_t Number::uint64Value() const {
  return std::visit([](auto value) { return saturated<std::uint64_t>(value); }, _value);
}

float Number::floatValue() const {
  const double value = doubleValue();
  constexpr double kMax = std::numeric_limits<float>::max();
  if (!std::isfinite(value) || std::abs(value) <= kMax) return static_cast<float>(value);
  return static_cast<float>(std::copysign(kMax, value));
}

double Number::doubleValue() const {
  return std::visit([](auto held) { return static_cast<double>(held); }, _value);
}

std::string Number::description() const {
  if (const auto* value = std::get_if<double>(&_value)) {
    return _kind == Kind::Float ? shortest(static_cast<float>(*value)) : shortest(*value);
  }
  if (const auto* value = std::get_if<std::uint64_t>(&_value)) return std::to_string(*value);
  return std::to_string(std::get<std::int64_t>(_value));
}

bool operator==(const Number& a, const Number& b) {
  return std::visit([](auto left, auto right) { return equal(left, right); }, a._value, b._value);
}

std::string_view yesNo(bool value) { return value ? "YES" : "NO"; }

}  // namespace platform
