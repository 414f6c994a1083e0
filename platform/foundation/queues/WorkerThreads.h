#pragma once

#include <functional>

#include "platform/foundation/queues/Clock.h"

namespace platform {

/// Threads for work that may take long to end, so that the caller never waits for it and the
/// process ends only after all of them.
///
/// Threads: any.
class WorkerThreads {
 public:
  /// Runs `body` on a thread of its own. False: the system has no thread left.
  static bool start(std::function<void()> body);
  /// How many have not ended.
  static std::size_t running();
  /// Waits until all have ended, at most `limit`. False: some are still busy, and the process may
  /// end only by leaving without destructors. Called once nothing starts threads any more.
  static bool waitForAll(Duration limit);
};

}  // namespace platform
