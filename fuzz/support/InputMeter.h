#pragma once

#include <cstddef>

namespace fuzz {

/// The limits of the work for one input: a constant, and an amount for each byte of the input.
struct InputLimits {
  struct Limit {
    std::size_t constant = 0;
    std::size_t perByte = 0;
  };
  /// Bytes of the heap that the target has in use at the same time. Counts all libraries.
  Limit heap{std::size_t{4} << 20, 400};
  /// Edges of the control flow that our own code passes. Other libraries are not counted.
  Limit steps{1'000'000, 1'000};
};

/// While one exists, work beyond the limits prints the call stack and aborts the process.
///
/// The counts do not depend on time or load, so an input that fails once fails always.
/// This file is compiled without instrumentation.
class InputMeter {
 public:
  InputMeter(const InputLimits& limits, std::size_t inputBytes);
  ~InputMeter();
  InputMeter(const InputMeter&) = delete;
  InputMeter& operator=(const InputMeter&) = delete;
};

}  // namespace fuzz
