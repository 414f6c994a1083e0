#pragma once

#include <stdexcept>

#include "platform/foundation/Assertion.h"

namespace sim {

/// What a failed assertion throws while an AssertionsThrow is alive.
class AssertionError final : public std::logic_error {
 public:
  explicit AssertionError(platform::AssertionFailure failure)
      : std::logic_error(failure.operation + " (" + failure.source + "): " + failure.condition),
        _failure(std::move(failure)) {}
  const platform::AssertionFailure& failure() const { return _failure; }

 private:
  platform::AssertionFailure _failure;
};

/// While it is alive, a failed assertion throws an AssertionError in place of ending the process.
/// One at a time; made and destroyed while no other thread runs anything.
class AssertionsThrow {
 public:
  AssertionsThrow() {
    platform::setAssertionHandler(
        [](const platform::AssertionFailure& failure) { throw AssertionError(failure); });
  }
  ~AssertionsThrow() { platform::setAssertionHandler(nullptr); }
  AssertionsThrow(const AssertionsThrow&) = delete;
  AssertionsThrow& operator=(const AssertionsThrow&) = delete;
};

}  // namespace sim
