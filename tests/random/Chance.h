#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>

namespace random_sessions {

/// Random numbers that are the same for a seed with every compiler.
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : _engine(seed) {}

  /// 0 to `limit` - 1. `limit` must not be 0.
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(_engine() % limit); }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  template <typename Range>
  decltype(auto) pick(const Range& range) {
    return std::begin(range)[below(std::size(range))];
  }

 private:
  std::mt19937_64 _engine;
};

}  // namespace random_sessions
