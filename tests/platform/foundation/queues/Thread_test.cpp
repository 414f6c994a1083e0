#include "platform/foundation/queues/Thread.h"

#include <cstdlib>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "platform/foundation/queues/SerialQueue.h"
#include "tests/support/RefusedThreads.h"

namespace platform {
namespace {

void exitAfterRefusedStart() {
  testing_support::refuseThreads();
  std::thread thread;
  const bool isRefused = !startThread(thread, [] {}) && !thread.joinable();
  std::_Exit(isRefused ? 0 : 1);
}

void exitAfterRefusedQueue() {
  testing_support::refuseThreads();
  try {
    const SerialQueue queue("queue");
  } catch (const std::system_error&) {
    std::_Exit(0);
  }
  std::_Exit(1);
}

TEST(Thread, StartReturnsFalseIfTheSystemRefuses) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitAfterRefusedStart(), testing::ExitedWithCode(0), "");
}

TEST(Thread, ASerialQueueThrowsIfTheSystemRefuses) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitAfterRefusedQueue(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace platform
