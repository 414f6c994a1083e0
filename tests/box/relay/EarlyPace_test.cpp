#include "box/relay/EarlyPace.h"

#include <gtest/gtest.h>

namespace box {
namespace {

using std::chrono::milliseconds;

TEST(EarlyPace, HoldsBackWhatComesTooEarlyAndOnlyThen) {
  constexpr std::size_t kMuch = std::size_t{64} * 1024 * 1024;
  EarlyPace pace;
  const platform::TimePoint start{};
  EXPECT_EQ(pace.pass(EarlyPace::kFirstBytes, start), milliseconds(0));
  EXPECT_EQ(pace.pass(10 * EarlyPace::kBytesPerMillisecond, start), milliseconds(10));
  EXPECT_EQ(pace.pass(0, start + milliseconds(10)), milliseconds(0)) << "as fast as it should";
  EXPECT_EQ(pace.pass(kMuch, start + milliseconds(20)), EarlyPace::kEarly - milliseconds(20));
  EXPECT_EQ(pace.pass(kMuch, start + EarlyPace::kEarly), milliseconds(0)) << "not early any more";
}

}  // namespace
}  // namespace box
