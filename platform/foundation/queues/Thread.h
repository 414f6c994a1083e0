#pragma once

#include <functional>
#include <thread>

namespace platform {

/// Makes `thread` run `body`. False, with a line in the log, when the system has no thread left:
/// the constructor of std::thread would throw then. Any thread.
[[nodiscard]] bool startThread(std::thread& thread, std::function<void()> body);

}  // namespace platform
