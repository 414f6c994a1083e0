#pragma once

#include <stdexcept>

#include "platform/foundation/Assertion.h"

namespace sim {

/// Thrown by a failed assertion while an AssertionsThrow exists.
class AssertionError final : public std::logic_error {
 public:
  explicit AssertionError(platform::AssertionFailure failure)
      : std::logic_error(failure.operation + " (" + failure.source + "): " + failure.condition),
        _failure(std::move(failure)) {}
  const platform::AssertionFailure& failure() const { return _failure; }

 private:
  platform::AssertionFailure _failure;
};

/// While an instance exists, a failed assertion throws an AssertionError instead of ending the
/// process. At most one instance at a time. Create and destroy it while no other thread runs.
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
