#include "media/elements/PacketQueues.h"

#include <future>
#include <thread>
#include <variant>

#include <gtest/gtest.h>

namespace {

using media::ElementaryBuffer;
using media::ElementaryFormat;
using media::ElementaryGap;
using media::ElementaryItem;
using media::ElementaryKind;
using media::GstRef;
using media::PacketQueues;

constexpr PacketQueues::Targets kBoth{true, true};
constexpr PacketQueues::Targets kVideo{true, false};

ElementaryItem packetOf(ElementaryKind kind, double time, std::size_t bytes = 100) {
  GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, bytes, nullptr);
  GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(time * 1e9);
  GST_BUFFER_DURATION(buffer) = 100 * GST_MSECOND;
  return ElementaryBuffer{kind, GstRef<GstBuffer>(buffer)};
}

ElementaryItem formatOf(ElementaryKind kind) {
  return ElementaryFormat{kind, GstRef<GstCaps>(gst_caps_new_empty_simple("video/x-test"))};
}

double timeOf(const ElementaryItem& item) {
  const auto* const buffer = std::get_if<ElementaryBuffer>(&item);
  return buffer ? static_cast<double>(GST_BUFFER_PTS(buffer->buffer.get())) / 1e9 : -1;
}

class PacketQueuesTest : public testing::Test {
 protected:
  void SetUp() override {
    gst_init(nullptr, nullptr);
    queues.open();
  }
  /// Puts ten packets a second of `kind` for `seconds`, or until the queues are closed.
  std::future<int> fill(ElementaryKind kind, PacketQueues::Targets targets, double seconds,
                        std::size_t bytes = 100) {
    return std::async(std::launch::async, [this, kind, targets, seconds, bytes] {
      int count = 0;
      while (count < seconds * 10 && queues.put(packetOf(kind, count * 0.1, bytes), targets))
        ++count;
      return count;
    });
  }

  PacketQueues queues;
};

TEST_F(PacketQueuesTest, HaveLimits) {
  struct Case {
    std::size_t bytes;
    int count;  // packets that fit
  };
  for (const Case& each : {Case{100, 15}, Case{std::size_t{3} << 20, 3}}) {
    queues.open();
    auto filling = fill(ElementaryKind::Video, kVideo, 100, each.bytes);
    // Taking a packet makes room for one, however fast the other thread is.
    for (int index = 0; index < 30; ++index)
      EXPECT_NEAR(timeOf(*queues.take(ElementaryKind::Video)), index * 0.1, 1e-6);
    queues.close();
    EXPECT_LE(filling.get(), 30 + each.count);
  }
}

TEST_F(PacketQueuesTest, DropItemsOfUnselectedKinds) {
  EXPECT_TRUE(queues.put(packetOf(ElementaryKind::Audio, 0), kVideo));
  EXPECT_FALSE(queues.tryTake(ElementaryKind::Audio));
  EXPECT_TRUE(queues.put(packetOf(ElementaryKind::Video, 0), kVideo));
  queues.close();
  EXPECT_FALSE(queues.put(packetOf(ElementaryKind::Video, 1), kVideo));
  EXPECT_FALSE(queues.take(ElementaryKind::Video));
  queues.open();
  EXPECT_FALSE(queues.tryTake(ElementaryKind::Video));
}

TEST_F(PacketQueuesTest, PassTheEndToAllKinds) {
  queues.put(ElementaryGap{0, 1}, kBoth);
  queues.put(media::ElementaryEnd{}, kBoth);
  for (const auto kind : {ElementaryKind::Video, ElementaryKind::Audio}) {
    EXPECT_EQ(queues.newest(kind), 1);
    EXPECT_TRUE(queues.isComplete(kind));
    EXPECT_TRUE(std::holds_alternative<ElementaryGap>(*queues.take(kind)));
    EXPECT_TRUE(std::holds_alternative<media::ElementaryEnd>(*queues.take(kind)));
  }
}

/// Audio of a segment may come after all of its video.
TEST_F(PacketQueuesTest, ExceedTheirLimitsForAnotherKind) {
  queues.put(formatOf(ElementaryKind::Audio), kBoth);
  queues.take(ElementaryKind::Audio);
  auto waiting =
      std::async(std::launch::async, [this] { return queues.take(ElementaryKind::Audio); });
  EXPECT_EQ(fill(ElementaryKind::Video, kBoth, 10).get(), 100);
  queues.put(packetOf(ElementaryKind::Audio, 0), kBoth);
  EXPECT_EQ(timeOf(*waiting.get()), 0);
}

TEST_F(PacketQueuesTest, FillGapsOfOneKind) {
  queues.put(formatOf(ElementaryKind::Audio), kBoth);
  queues.take(ElementaryKind::Audio);
  auto filling = fill(ElementaryKind::Video, kBoth, 100);
  const auto item = queues.take(ElementaryKind::Audio);
  ASSERT_TRUE(item && std::holds_alternative<ElementaryGap>(*item));
  EXPECT_EQ(std::get<ElementaryGap>(*item).start, 0);
  EXPECT_NEAR(std::get<ElementaryGap>(*item).end, 30, 0.2);
  queues.close();
  filling.get();
}

TEST_F(PacketQueuesTest, EndAKindThatDoesNotExist) {
  queues.put(formatOf(ElementaryKind::Audio), kBoth);
  auto filling = fill(ElementaryKind::Audio, kBoth, 100);
  const auto item = queues.take(ElementaryKind::Video);
  EXPECT_TRUE(item && std::holds_alternative<media::ElementaryEnd>(*item));
  EXPECT_TRUE(queues.isMissing(ElementaryKind::Video));
  EXPECT_FALSE(queues.isMissing(ElementaryKind::Audio));
  // The other kind continues within its limits.
  for (int index = 0; index < 50; ++index) queues.take(ElementaryKind::Audio);
  queues.close();
  EXPECT_LT(filling.get(), 80);
}

TEST_F(PacketQueuesTest, DoNotEndAKindBecauseOfGapsAtTheStart) {
  auto waiting = std::async(std::launch::async, [this] {
    for (int index = 0; index < 3; ++index) queues.take(ElementaryKind::Audio);
    return queues.take(ElementaryKind::Audio);
  });
  // The other kind is not read: it is full.
  for (int index = 0; index < 3; ++index)
    EXPECT_TRUE(queues.put(ElementaryGap{index * 4.0, index * 4.0 + 4}, kBoth));
  EXPECT_TRUE(queues.put(formatOf(ElementaryKind::Audio), kBoth));
  const auto item = waiting.get();
  EXPECT_TRUE(item && std::holds_alternative<ElementaryFormat>(*item));
}

}  // namespace
