#include "media/output/PositionClock.h"

#include <gtest/gtest.h>

namespace media {
namespace {

using std::chrono::milliseconds;

class ManualClock final : public platform::Clock {
 public:
  platform::TimePoint now() const override { return _now; }
  platform::Date date() const override { return {}; }
  void advance(platform::Duration duration) { _now += duration; }

 private:
  platform::TimePoint _now{};
};

TEST(PositionClock, RunsFromTheNewestPointAndStopsWhenHeld) {
  ManualClock clock;
  PositionClock position(clock);
  position.run(10, 2, 0, 100);
  clock.advance(milliseconds(500));
  EXPECT_DOUBLE_EQ(position.seconds(), 11);
  position.observe(11.5);
  EXPECT_DOUBLE_EQ(position.seconds(), 11.5);
  clock.advance(milliseconds(250));
  EXPECT_DOUBLE_EQ(position.seconds(), 12);
  EXPECT_EQ(position.age(), milliseconds(250));

  position.hold(12);
  clock.advance(milliseconds(500));
  position.observe(50);
  EXPECT_DOUBLE_EQ(position.seconds(), 12) << "a late picture from before the pause";
  EXPECT_EQ(position.age(), platform::Duration::zero());
}

TEST(PositionClock, StaysWithinItsLimits) {
  ManualClock clock;
  PositionClock position(clock);
  position.run(9, 1, 0, 10);
  clock.advance(std::chrono::hours(1));
  EXPECT_DOUBLE_EQ(position.seconds(), 10);
  position.run(3, -8, 2, 10);
  clock.advance(std::chrono::hours(1));
  EXPECT_DOUBLE_EQ(position.seconds(), 2);
}

}  // namespace
}  // namespace media
