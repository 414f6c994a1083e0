#include "media/output/VideoFrames.h"

#include <gtest/gtest.h>

namespace media {
namespace {

TEST(VideoFrames, HoldsTheNewestPictureOfTheNewestLoadOnly) {
  VideoFrames frames;
  int wakeups = 0;
  frames.setWakeup([&] { ++wakeups; });
  const auto first = std::make_shared<VideoFrame>();
  const auto second = std::make_shared<VideoFrame>();

  frames.put(1, first);
  EXPECT_EQ(frames.latest(), nullptr) << "no load is open";

  const auto ticket = frames.open();
  EXPECT_EQ(wakeups, 0) << "latest() was and is null";
  frames.put(ticket, first);
  frames.put(ticket, second);
  EXPECT_EQ(frames.latest(), second);
  EXPECT_EQ(first.use_count(), 1) << "the previous frame is released";
  EXPECT_EQ(wakeups, 2);
  EXPECT_EQ(frames.serial(), 2u);

  const auto next = frames.open();
  EXPECT_EQ(frames.latest(), nullptr);
  EXPECT_EQ(wakeups, 3) << "the screen has to clear the picture";
  frames.put(ticket, first);
  EXPECT_EQ(frames.latest(), nullptr) << "a late frame of the previous load";
  frames.put(next, first);
  frames.close();
  EXPECT_EQ(frames.latest(), nullptr);
  frames.put(next, second);
  EXPECT_EQ(frames.latest(), nullptr);
  EXPECT_EQ(wakeups, 5);
}

TEST(VideoFrames, WakeUpMayReadThePicture) {
  VideoFrames frames;
  std::shared_ptr<const VideoFrame> taken;
  frames.setWakeup([&] { taken = frames.latest(); });
  const auto frame = std::make_shared<VideoFrame>();
  frames.put(frames.open(), frame);
  EXPECT_EQ(taken, frame);
}

}  // namespace
}  // namespace media
