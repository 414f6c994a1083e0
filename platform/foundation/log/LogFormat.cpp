#include "platform/foundation/log/LogFormat.h"

#include <charconv>

#include "platform/foundation/Value.h"

namespace platform {

namespace {

constexpr int kDecimals = 6;
constexpr int kHexadecimal = 16;
constexpr std::size_t kByteBits = 8;

}  // namespace

std::string logText(std::int32_t value) { return Number(value).description(); }
std::string logText(std::uint32_t value) { return Number(value).description(); }
std::string logText(std::int64_t value) { return Number(value).description(); }
std::string logText(std::uint64_t value) { return Number(value).description(); }
std::string logText(float value) { return Number(value).description(); }
std::string logText(double value) { return Number(value).description(); }

std::string logSigned(std::int64_t value, char letter, std::size_t width) {
  if (letter == 'd') return std::to_string(value);
  auto bits = static_cast<std::uint64_t>(value);
  if (width < sizeof bits) bits &= (std::uint64_t{1} << (kByteBits * width)) - 1;
  return logUnsigned(bits, letter);
}

std::string logUnsigned(std::uint64_t value, char letter) {
  if (letter != 'x') return std::to_string(value);
  char text[kHexadecimal];
  const auto end = std::to_chars(text, text + sizeof text, value, kHexadecimal);
  return {text, end.ptr};
}

std::string logReal(double value) {
  char text[512];  // DBL_MAX has 309 digits before the decimal point
  const auto end =
      std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, kDecimals);
  return {text, end.ptr};
}

std::string assembleLog(std::string_view format, const std::string* arguments, std::size_t count) {
  // TVSLogger::write() appends the trailing blank.
  if (format.ends_with(' ')) format.remove_suffix(1);
  std::size_t size = format.size();
  for (std::size_t i = 0; i < count; ++i) size += arguments[i].size();
  std::string text;
  text.reserve(size);
  for (std::size_t at = 0; at < format.size(); ++at) {
    if (format[at] != '%') {
      text += format[at];
      continue;
    }
    const char letter = format[++at];
    if (letter == '%') {
      text += '%';
      continue;
    }
    if (letter == 'l') ++at;
    text += *arguments++;
  }
  return text;
}

}  // namespace platform
