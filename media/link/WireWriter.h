#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Error.h"

namespace media {

/// Encodes the messages of the link between the box and a media process. Numbers are little-endian;
/// lengths and counts have 32 bits. WireReader decodes them.
///
/// Threads: one at a time.
class WireWriter {
 public:
  template <std::integral Integer>
  WireWriter& put(Integer value) {
    using Unsigned = std::make_unsigned_t<
        std::conditional_t<std::same_as<Integer, bool>, std::uint8_t, Integer>>;
    auto bits = static_cast<std::uint64_t>(static_cast<Unsigned>(value));
    for (std::size_t byte = 0; byte < sizeof(Unsigned); ++byte) {
      _bytes.push_back(static_cast<std::byte>(bits & 0xff));
      bits >>= 8;
    }
    return *this;
  }
  template <typename Enum>
  requires std::is_enum_v<Enum> WireWriter& put(Enum value) {
    return put(static_cast<std::uint8_t>(value));
  }
  WireWriter& put(double value);
  WireWriter& put(float value) { return put(static_cast<double>(value)); }
  WireWriter& put(std::string_view text);
  WireWriter& put(const char* text) { return put(std::string_view(text)); }
  WireWriter& put(const std::string& text) { return put(std::string_view(text)); }
  WireWriter& put(std::span<const std::byte> bytes);
  WireWriter& put(platform::Date date) { return put(date.secondsSince1970); }
  WireWriter& put(const platform::Error& error);
  /// Objects, and values nested deeper than WireReader::kDepthLimit, are written as null.
  WireWriter& put(const platform::Value& value) { return _put(value, 0); }
  WireWriter& put(const platform::Dictionary& dictionary) { return _put(dictionary, 0); }
  WireWriter& put(const platform::Array& array) { return _put(array, 0); }

  template <typename T>
  WireWriter& put(const std::optional<T>& value) {
    put(value.has_value());
    return value ? put(*value) : *this;
  }
  /// Writes the count of a list. The elements have to follow.
  WireWriter& putCount(std::size_t count) { return put(static_cast<std::uint32_t>(count)); }
  template <typename T, typename Put>
  WireWriter& putList(const T& list, Put&& putOne) {
    putCount(list.size());
    for (const auto& each : list) putOne(*this, each);
    return *this;
  }

  const std::vector<std::byte>& bytes() const { return _bytes; }
  std::vector<std::byte> take() { return std::move(_bytes); }

 private:
  WireWriter& _put(const platform::Value& value, int depth);
  WireWriter& _put(const platform::Dictionary& dictionary, int depth);
  WireWriter& _put(const platform::Array& array, int depth);
  void _put(const platform::Number& number);

  std::vector<std::byte> _bytes;
};

}  // namespace media
