#pragma once

#include <functional>

namespace box {

/// Where Network learns whether the internet is available.
class NetworkWatch {
 public:
  virtual ~NetworkWatch() = default;
  /// `tell` is called as soon as the answer is known, and whenever it may have changed, on any
  /// thread. Returns at once. Called once.
  virtual void start(std::function<void(bool available)> tell) = 0;
  /// After it nothing is told any more. Safe to call twice, and without start().
  virtual void stop() = 0;
};

}  // namespace box
