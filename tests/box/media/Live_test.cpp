#include <gtest/gtest.h>

#include "tests/box/media/EngineHarness.h"
#include "tests/box/media/TestMedia.h"

namespace testing_media {
namespace {

/// The window at its server slides with each request for its playlist.
TEST(Live, CanBeSeenWithinItsWindowAsThatSlides) {
  EngineHarness harness;
  harness.load(TestMedia::shared().url("live/programme.m3u8"));
  ASSERT_TRUE(harness.untilTold("play 1"));
  const auto window = [&] {
    const auto& seekable = harness.engine().facts().seekable;
    return seekable.empty() ? platform::TimeRange{} : seekable.front();
  };
  ASSERT_TRUE(harness.until([&] { return window().duration > 0; }));
  EXPECT_TRUE(harness.engine().facts().live);
  EXPECT_LE(harness.engine().facts().duration, 0);

  const double before = window().start;
  ASSERT_TRUE(harness.until([&] { return window().start >= before + 1; }));
  // To where only the window of now leads.
  const auto now = window();
  const int seeks = harness.count("seek");
  harness.call([&](box::MediaEngine& engine) { engine.seek(now.start + now.duration / 2); });
  ASSERT_TRUE(harness.untilTold("seek", seeks));
  EXPECT_NEAR(harness.engine().position(), now.start + now.duration / 2, 0.2);
  EXPECT_EQ(harness.count("fail"), 0);
}

platform::MediaLoad pausedAt(std::optional<platform::Date> date) {
  platform::MediaLoad load;
  load.playing = false;
  load.startDate = date;
  return load;
}

/// Before it is ready as after it; the latest counts.
TEST(Live, MediaWithDatesCanBeSoughtByThem) {
  EngineHarness harness;
  const std::string url = TestMedia::shared().url("dated.m3u8");
  harness.load(url, pausedAt({}));
  ASSERT_TRUE(harness.untilTold("pause"));
  ASSERT_TRUE(harness.engine().facts().playbackDate);
  const double begin = harness.engine().facts().playbackDate->secondsSince1970;
  const auto dateAt = [&](double position) { return platform::Date{begin + position}; };

  harness.load(url, pausedAt(dateAt(1.52)));
  ASSERT_TRUE(harness.untilTold("pause"));
  EXPECT_NEAR(harness.engine().position(), 1.52, 0.05);
  ASSERT_TRUE(harness.until([&] { return harness.frame() != nullptr; }));
  EXPECT_NEAR(harness.frame()->time, 1.52, 0.05) << "and no other picture was shown";
  harness.call([&](box::MediaEngine& engine) { engine.seekToDate(dateAt(0.4)); });
  ASSERT_TRUE(harness.untilTold("seek"));
  EXPECT_NEAR(harness.engine().position(), 0.4, 0.05);

  harness.load(url, pausedAt(dateAt(1.52)));
  harness.call([&](box::MediaEngine& engine) { engine.seekToDate(dateAt(2.2)); });
  ASSERT_TRUE(harness.untilTold("pause"));
  EXPECT_NEAR(harness.engine().position(), 2.2, 0.05);

  // What carries none begins at its beginning, and shows it.
  harness.load(TestMedia::shared().url("clip.mp4"), pausedAt(dateAt(1)));
  ASSERT_TRUE(harness.untilTold("pause"));
  ASSERT_TRUE(harness.until([&] { return harness.frame() != nullptr; }));
  EXPECT_EQ(harness.frame()->time, 0);
}

}  // namespace
}  // namespace testing_media
