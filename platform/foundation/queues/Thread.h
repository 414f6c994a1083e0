#pragma once

#include <functional>
#include <thread>

namespace platform {

/// Runs `body` on a new thread. Logs and returns false if the system cannot create a thread, where
/// the constructor of std::thread would throw.
[[nodiscard]] bool startThread(std::thread& thread, std::function<void()> body);

}  // namespace platform
