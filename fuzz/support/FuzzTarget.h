#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/support/InputMeter.h"
#include "fuzz/support/Random.h"

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

/// A reader of bytes from outside. run() calls it with one input; the process ends if an input
/// makes it fail.
struct FuzzTarget {
  const char* name;
  void (*run)(Bytes input);
  InputLimits limits{};
  /// Changes an input in a way that keeps most of its structure, or makes a new one. Null: inputs
  /// are changed byte by byte only.
  void (*mutate)(std::string& input, Random& random) = nullptr;
};

const std::vector<FuzzTarget>& targets();

/// Registers a target: `const Registration foo({"Foo", [](Bytes input) { ... }});`
class Registration {
 public:
  explicit Registration(const FuzzTarget& target);
};

inline std::string_view textOf(Bytes input) {
  return {reinterpret_cast<const char*>(input.data()), input.size()};
}

/// Separates the parts of an input for targets that read several texts.
inline constexpr char kPartSeparator = '\x1e';

/// Removes the first part of the input and returns it.
inline std::string_view takePart(std::string_view& input) {
  const std::string_view part = input.substr(0, input.find(kPartSeparator));
  input.remove_prefix(part.size() < input.size() ? part.size() + 1 : part.size());
  return part;
}

/// Removes the first byte of the input and returns it; 0 if there is none.
inline std::uint8_t takeByte(Bytes& input) {
  if (input.empty()) return 0;
  const std::uint8_t first = input.front();
  input = input.subspan(1);
  return first;
}

/// Removes the first two bytes of the input and returns them as a number.
inline std::size_t takeSize(Bytes& input) {
  const std::size_t high = takeByte(input);
  return high << 8 | takeByte(input);
}

/// Removes at most `size` bytes from the front of the input and returns them.
inline Bytes takeBytes(Bytes& input, std::size_t size) {
  const Bytes front = input.first(std::min(size, input.size()));
  input = input.subspan(front.size());
  return front;
}

/// Ends the process: the target has broken a promise.
[[noreturn]] void failTarget(const char* reason);
inline void require(bool isKept, const char* promise) {
  if (!isKept) failTarget(promise);
}

}  // namespace fuzz
