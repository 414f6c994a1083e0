#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace upnp {

/// Time and timers of the thread that runs the renderer.
class Clock {
 public:
  using Duration = std::chrono::milliseconds;
  /// Destroying it cancels the task.
  using Timer = std::shared_ptr<void>;

  virtual ~Clock() = default;
  /// Monotonic.
  virtual Duration now() const = 0;
  /// Runs the task once, never during this call.
  [[nodiscard]] virtual Timer after(Duration delay, std::function<void()> task) = 0;
};

}  // namespace upnp
