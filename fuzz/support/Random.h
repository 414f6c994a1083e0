#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace fuzz {

/// A small random generator (xorshift). Equal seeds give equal sequences on all machines.
class Random {
 public:
  explicit Random(std::uint64_t seed) : _state(seed * 0x9e3779b97f4a7c15U + 1) {}

  std::uint64_t next() {
    _state ^= _state << 13;
    _state ^= _state >> 7;
    _state ^= _state << 17;
    return _state;
  }
  /// From 0 to `limit` - 1; 0 if `limit` is 0.
  std::size_t below(std::size_t limit) {
    return limit == 0 ? 0 : static_cast<std::size_t>(next() % limit);
  }
  /// True once in `times` calls, on average.
  bool oneIn(std::size_t times) { return below(times) == 0; }
  /// Up to 2^`bits`; small results are as likely as large ones.
  std::size_t upToPowerOf2(unsigned bits) { return below(std::size_t{1} << below(bits + 1)) + 1; }
  template <typename T, std::size_t size>
  const T& oneOf(const T (&choices)[size]) {
    return choices[below(size)];
  }
  /// `choices` must not be empty.
  template <typename T>
  const T& oneOf(std::span<const T> choices) {
    return choices[below(choices.size())];
  }

 private:
  std::uint64_t _state;
};

}  // namespace fuzz
