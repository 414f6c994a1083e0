#include "platform/ui/scene/Scene.h"

#include <limits>

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(Scene, AnimatedAlphaEasesBetweenItsEnds) {
  const TimePoint start{std::chrono::seconds(10)};
  const AnimatedAlpha alpha{0.2F, 1, start, std::chrono::seconds(1)};
  const auto at = [&](int milliseconds) {
    return alpha.at(start + std::chrono::milliseconds(milliseconds));
  };
  EXPECT_FLOAT_EQ(at(-5), 0.2F);
  EXPECT_FLOAT_EQ(at(0), 0.2F);
  EXPECT_FLOAT_EQ(at(500), 0.6F);
  EXPECT_FLOAT_EQ(at(1000), 1);
  EXPECT_FLOAT_EQ(at(9000), 1);
  // Slow at both ends, fast in the middle, monotonic.
  EXPECT_LT(at(100) - at(0), at(550) - at(450));
  EXPECT_LT(at(1000) - at(900), at(550) - at(450));
  for (int t = 0; t < 1000; t += 50) EXPECT_LT(at(t), at(t + 50)) << t;

  EXPECT_TRUE(alpha.isRunning(start));
  EXPECT_FALSE(alpha.isRunning(start + std::chrono::seconds(1)));
  EXPECT_FLOAT_EQ((AnimatedAlpha{0, 0.5F, start, {}}).at(start), 0.5F);
}

TEST(Scene, ClockText) {
  const std::pair<double, const char*> cases[] = {
      {0, "0:00"},
      {0.999, "0:00"},
      {59.999, "0:59"},
      {60, "1:00"},
      {123, "2:03"},
      {3599, "59:59"},
      {3600, "1:00:00"},
      {3723.5, "1:02:03"},
      {360'000, "100:00:00"},
      {-0.001, "--:--"},
      {-1, "--:--"},
      {1e300, "--:--"},
      {std::numeric_limits<double>::infinity(), "--:--"},
      {std::numeric_limits<double>::quiet_NaN(), "--:--"}};
  for (const auto& [seconds, text] : cases) EXPECT_EQ(clockText(seconds), text) << seconds;
}

}  // namespace
}  // namespace platform
