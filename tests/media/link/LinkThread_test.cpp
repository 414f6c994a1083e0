#include "media/link/LinkThread.h"

#include <array>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <variant>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "media/link/EngineMessages.h"
#include "media/link/TextSender.h"

namespace media {
namespace {

constexpr auto kBound = std::chrono::seconds(30);
using Message = std::vector<std::byte>;

std::array<int, 2> socketPair() {
  std::array<int, 2> made{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, made.data()), 0);
  return made;
}

/// One end of a link, which collects messages.
struct End {
  std::mutex mutex;
  std::vector<Message> got;
  std::promise<void> complete;
  std::promise<LinkSocket::State> ended;
  std::size_t expected = 0;

  LinkThread::Setup setup(int descriptor) {
    return {.descriptor = descriptor,
            .received =
                [this](std::span<const std::byte> message) {
                  const std::lock_guard lock(mutex);
                  got.emplace_back(message.begin(), message.end());
                  if (got.size() == expected) complete.set_value();
                },
            .ended = [this](LinkSocket::State state) { ended.set_value(state); }};
  }
};

TEST(LinkThread, DeliversMessagesOfAnySizeInOrder) {
  const auto sockets = socketPair();
  End near;
  End far;
  far.expected = 64;
  std::vector<Message> sent;
  for (std::size_t index = 0; index < far.expected; ++index)
    sent.emplace_back(index * index * 300, static_cast<std::byte>(index));
  auto sender = std::make_unique<LinkThread>(near.setup(sockets[0]));
  // More than the socket buffer holds: send() must not block while nothing is read.
  for (const Message& each : sent) sender->send(each);
  LinkThread receiver(far.setup(sockets[1]));
  ASSERT_EQ(far.complete.get_future().wait_for(kBound), std::future_status::ready);
  EXPECT_EQ(far.got, sent);
  sender.reset();
  EXPECT_EQ(far.ended.get_future().get(), LinkSocket::State::Closed);
  receiver.send(sent[1]);  // ignored after the end of the link
}

TEST(LinkThread, ReportsAPeerThatViolatesTheProtocol) {
  const auto sockets = socketPair();
  End end;
  LinkThread reader(end.setup(sockets[0]));
  const std::array<unsigned char, 4> length{0xff, 0xff, 0xff, 0x7f};
  ASSERT_EQ(::write(sockets[1], length.data(), length.size()), 4);
  EXPECT_EQ(end.ended.get_future().get(), LinkSocket::State::Broken);
  close(sockets[1]);
}

TEST(LinkThread, BreaksTheLinkIfThePeerDoesNotRead) {
  const auto sockets = socketPair();
  End end;
  LinkThread writer(end.setup(sockets[0]));
  const Message large(LinkSocket::kMessageLimit);
  for (int count = 0; count < 4; ++count) writer.send(large);
  EXPECT_NE(end.ended.get_future().get(), LinkSocket::State::Open);
  close(sockets[1]);
}

TEST(LinkThread, LargeImagesOfSubtitlesDoNotBreakTheLink) {
  const auto sockets = socketPair();
  End near;
  End far;
  far.expected = 8;
  LinkThread sender(near.setup(sockets[0]));
  SubtitleCue cue;
  cue.images = {{2048, 2048, 0, 0, 2048, 2048, std::vector<std::uint32_t>(2048 * 2048)}};
  TextChange change{1, TextChange::Kind::Add, SubtitleCues::Source::Media, {}};
  for (std::size_t count = 0; count < far.expected; ++count) {
    cue.start = static_cast<double>(count);
    change.cues = {std::make_shared<const SubtitleCue>(cue)};
    sendTexts(sender, change);
  }
  LinkThread receiver(far.setup(sockets[1]));
  ASSERT_EQ(far.complete.get_future().wait_for(kBound), std::future_status::ready);
  for (std::size_t count = 0; count < far.expected; ++count) {
    const auto event = decodeEvent(far.got[count]);
    ASSERT_TRUE(event && std::holds_alternative<TextEvent>(*event));
    const SubtitleCue& got = *std::get<TextEvent>(*event).change.cues.at(0);
    EXPECT_EQ(got.start, static_cast<double>(count));
    EXPECT_EQ(got.images.size(), count < 2 ? 1u : 0u) << count;
  }
}

}  // namespace
}  // namespace media
