#pragma once

#include <functional>

namespace box {

class NetworkWatch {
 public:
  virtual ~NetworkWatch() = default;
  /// `onChange` is called on any thread when the state is first known and whenever it may have
  /// changed. Does not block. May be called once.
  virtual void start(std::function<void(bool available)> onChange) = 0;
  /// No callback runs after it has returned. May be called twice, and without start().
  virtual void stop() = 0;
};

}  // namespace box
