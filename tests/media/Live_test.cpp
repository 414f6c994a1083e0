#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

platform::MediaLoad pausedAt(std::optional<platform::Date> date) {
  platform::MediaLoad load;
  load.playing = false;
  load.startDate = date;
  return load;
}

TEST(Live, StartDateIsTheFirstPicture) {
  EngineHarness harness;
  const std::string url = TestMedia::shared().url("dated.m3u8");
  harness.load(url, pausedAt({}));
  ASSERT_TRUE(harness.waitForEvent("pause"));
  ASSERT_TRUE(harness.engine().facts().playbackDate);
  const double begin = harness.engine().facts().playbackDate->secondsSince1970;
  harness.load(url, pausedAt(platform::Date{begin + 1.52}));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.frame() != nullptr; }));
  EXPECT_NEAR(harness.frame()->time, 1.52, 0.05);

  // Media without dates begin at their start.
  harness.load(TestMedia::shared().url("clip.mp4"), pausedAt(platform::Date{begin + 1}));
  ASSERT_TRUE(harness.waitForEvent("pause"));
  ASSERT_TRUE(harness.waitUntil([&] { return harness.frame() != nullptr; }));
  EXPECT_EQ(harness.frame()->time, 0);
}

TEST(Live, PlaysOverAMissingSegment) {
  EngineHarness harness;
  harness.load(TestMedia::shared().url("live/gap.m3u8"));
  ASSERT_TRUE(harness.waitUntil(
      [&] { return harness.error() || (harness.frame() && harness.frame()->time > 6); }));
  EXPECT_FALSE(harness.error()) << harness.error()->description();
}

}  // namespace
}  // namespace testing_media
