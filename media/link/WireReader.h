#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Error.h"

namespace media {

/// Reads what WireWriter has written, from a peer that is not trusted. Any error makes failed()
/// true permanently: too few bytes, a count that exceeds the message, text that is not UTF-8, a
/// number that is not finite, a value outside its enumeration, or too deep nesting. After an error
/// all reads return empty values.
///
/// `bytes` have to outlive the reader.
/// Threads: one at a time.
class WireReader {
 public:
  static constexpr int kDepthLimit = 32;
  /// How many property-list values a message may have: a value needs more memory than its encoding.
  static constexpr std::size_t kValueLimit = 200'000;

  explicit WireReader(std::span<const std::byte> bytes) : _rest(bytes) {}

  bool failed() const { return _failed; }
  /// Returns whether everything was read without an error.
  bool isAtEnd() const { return !_failed && _rest.empty(); }
  void fail() { _failed = true; }
  std::size_t size() const { return _rest.size(); }

  template <std::integral Integer>
  Integer take() {
    if constexpr (std::same_as<Integer, bool>) {
      const auto value = take<std::uint8_t>();
      if (value > 1) fail();
      return value == 1;
    } else {
      const auto bytes = _take(sizeof(Integer));
      std::uint64_t bits = 0;
      for (std::size_t byte = bytes.size(); byte-- > 0;)
        bits = bits << 8 | static_cast<std::uint64_t>(bytes[byte]);
      return static_cast<Integer>(static_cast<std::make_unsigned_t<Integer>>(bits));
    }
  }
  /// Accepts values from 0 to `last`.
  template <typename Enum>
  requires std::is_enum_v<Enum> Enum takeEnum(Enum last) {
    const auto value = take<std::uint8_t>();
    if (value > static_cast<std::uint8_t>(last)) fail();
    return _failed ? Enum{} : static_cast<Enum>(value);
  }
  /// Accepts infinity and NaN, too.
  double takeDouble();
  double takeFinite();
  std::string takeText();
  std::vector<std::byte> takeBytes();
  platform::Date takeDate() { return {takeFinite()}; }
  platform::Error takeError();
  platform::Value takeValue();
  platform::Dictionary takeDictionary() { return _takeDictionary(0); }
  platform::Array takeArray() { return _takeArray(0); }

  template <typename Take>
  auto takeOptional(Take&& takeOne) -> std::optional<decltype(takeOne(*this))> {
    if (!take<bool>()) return std::nullopt;
    auto value = takeOne(*this);
    if (_failed) return std::nullopt;
    return value;
  }
  std::optional<double> takeOptionalFinite() {
    return takeOptional([](WireReader& reader) { return reader.takeFinite(); });
  }
  /// Reads a list of at most `limit` elements. Each has at least one byte.
  template <typename Take>
  auto takeList(std::size_t limit, Take&& takeOne) -> std::vector<decltype(takeOne(*this))> {
    std::vector<decltype(takeOne(*this))> list;
    const std::size_t count = takeCount(limit);
    for (std::size_t index = 0; index < count && !_failed; ++index) list.push_back(takeOne(*this));
    return list;
  }
  /// Fails and returns 0 if the count exceeds `limit` or the number of remaining bytes.
  std::size_t takeCount(std::size_t limit);

 private:
  std::span<const std::byte> _take(std::size_t count);
  platform::Value _takeValue(int depth);
  platform::Value _takeNumber();
  platform::Dictionary _takeDictionary(int depth);
  platform::Array _takeArray(int depth);

  std::span<const std::byte> _rest;
  std::size_t _values = 0;
  bool _failed = false;
};

}  // namespace media
