#pragma once

#include <functional>

#include "platform/foundation/queues/Clock.h"

namespace platform {

/// Threads for operations that may take long, such as closing a pipeline. The caller does not wait
/// for them; the process waits for all of them before it exits.
///
/// Threads: any.
class WorkerThreads {
 public:
  /// Runs `body` on a new thread. Returns false if the system cannot create a thread.
  static bool start(std::function<void()> body);
  static std::size_t running();
  /// Waits until all threads have ended, at most `limit`. On false some still run, and the process
  /// must exit without destructors. Call it when no code starts further threads.
  static bool waitForAll(Duration limit);
};

}  // namespace platform
