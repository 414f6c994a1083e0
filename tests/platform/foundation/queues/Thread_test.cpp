#include "platform/foundation/queues/Thread.h"

#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/RefusedThreads.h"

namespace platform {
namespace {

void exitAfterRefusedStart() {
  testing_support::refuseThreads();
  std::thread thread;
  const bool isRefused = !startThread(thread, [] {}) && !thread.joinable();
  std::_Exit(isRefused ? 0 : 1);
}

TEST(Thread, StartReturnsFalseIfTheSystemRefuses) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitAfterRefusedStart(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace platform
