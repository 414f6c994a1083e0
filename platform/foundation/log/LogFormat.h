#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"

namespace platform {

// The text that `%@` prints for each argument type.
// A template, because Value is incomplete here.
template <std::same_as<Value> T>
std::string logText(const T& value) {
  return value.description();
}
// As a Value prints the number.
std::string logText(std::int32_t value);
std::string logText(std::uint32_t value);
std::string logText(std::int64_t value);
std::string logText(std::uint64_t value);
std::string logText(float value);
std::string logText(double value);
// A template, because pointers convert to bool.
template <std::same_as<bool> T>
std::string logText(T value) {
  return value ? "1" : "0";
}
inline std::string logText(const Dictionary& value) { return value.description(); }
inline std::string logText(const Array& value) { return value.description(); }
inline std::string logText(const Error& value) { return value.description(); }
inline std::string logText(const Date& value) { return value.description(); }
inline std::string logText(const Object& value) { return value.description(); }
inline std::string logText(std::string_view value) { return std::string(value); }
inline std::string logText(const std::string& value) { return value; }
inline std::string logText(const char* value) { return value ? std::string(value) : "(null)"; }
inline std::string logText(std::nullopt_t) { return "(null)"; }
template <typename T>
requires std::derived_from<T, Object> std::string logText(const T* value) {
  return value ? value->description() : "(null)";
}
template <typename T>
std::string logText(const std::shared_ptr<T>& value) {
  return value ? value->description() : "(null)";
}
template <typename T>
std::string logText(const std::optional<T>& value) {
  return value ? logText(*value) : "(null)";
}

template <typename T>
concept LogDescribable = requires(const T& value) {
  { logText(value) } -> std::convertible_to<std::string>;
};

/// A log format whose placeholders are checked against the argument types at compile time.
template <typename... Args>
class BasicLogFormat {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): converts string literals
  consteval BasicLogFormat(const char* text) : _text(text) {
    std::size_t at = 0;
    std::size_t argument = 0;
    ((_letters[argument++] = _check<Args>(at)), ...);
    if (_next(at) != 0) throw "more placeholders than arguments";
  }
  constexpr std::string_view text() const { return _text; }
  /// The placeholder letter of each argument; 'l' for %lu.
  constexpr const std::array<char, sizeof...(Args)>& letters() const { return _letters; }

 private:
  /// The letter of the next placeholder ('l' for %lu), or 0 at the end.
  constexpr char _next(std::size_t& at) const {
    while (at < _text.size()) {
      if (_text[at++] != '%') continue;
      if (at == _text.size()) throw "a lone % at the end";
      const char letter = _text[at++];
      if (letter == '%') continue;
      if (letter == 'l') {
        if (at == _text.size() || _text[at] != 'u') throw "unknown placeholder";
        ++at;
      }
      return letter;
    }
    return 0;
  }
  template <typename Arg>
  constexpr char _check(std::size_t& at) const {
    using T = std::remove_cvref_t<Arg>;
    constexpr bool number = std::integral<T> || std::is_enum_v<T>;
    const char letter = _next(at);
    switch (letter) {
      case 0:
        throw "more arguments than placeholders";
      case '@':
        if (!LogDescribable<T>) throw "%@ needs something with a description";
        break;
      case 'd':
        if (!number) throw "%d needs an integer";
        break;
      case 'u':
      case 'l':
      case 'x':
        if (!number) throw "%u, %lu and %x need an integer";
        break;
      case 'f':
        if (!std::floating_point<T>) throw "%f needs a floating-point number";
        break;
      default:
        throw "unknown placeholder";
    }
    return letter;
  }

  std::string_view _text;
  std::array<char, sizeof...(Args)> _letters{};
};
template <typename... Args>
using LogFormat = BasicLogFormat<std::type_identity_t<Args>...>;

// The text of the number placeholders. `width` is the size of the integer in bytes before it was
// widened.
std::string logSigned(std::int64_t value, char letter, std::size_t width);
std::string logUnsigned(std::uint64_t value, char letter);
std::string logReal(double value);

template <typename T>
std::string logArgument(char letter, const T& value) {
  if constexpr (std::is_enum_v<T>) {
    return logArgument(letter, static_cast<std::underlying_type_t<T>>(value));
  } else {
    if constexpr (std::signed_integral<T>) {
      if (letter != '@') return logSigned(value, letter, sizeof value);
    } else if constexpr (std::unsigned_integral<T>) {
      if (letter != '@') return logUnsigned(value, letter);
    } else if constexpr (std::floating_point<T>) {
      if (letter != '@') return logReal(static_cast<double>(value));
    }
    if constexpr (LogDescribable<T>) return logText(value);
  }
  return {};
}

std::string assembleLog(std::string_view format, const std::string* arguments, std::size_t count);

/// Replaces the placeholders by the arguments. Adds neither the prefix nor the trailing blank.
template <typename... Args>
std::string formatLog(LogFormat<Args...> format, const Args&... args) {
  std::size_t at = 0;
  // A braced list guarantees evaluation from left to right.
  const std::array<std::string, sizeof...(Args)> texts{
      logArgument(format.letters()[at++], args)...};
  return assembleLog(format.text(), texts.data(), texts.size());
}

}  // namespace platform
