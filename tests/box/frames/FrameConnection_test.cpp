#include "box/frames/FrameConnection.h"

#include <functional>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frames/vorlane-frames.h"
#include "sim/Box.h"
#include "tests/box/frames/RawWriter.h"
#include "tests/support/TemporaryFolder.h"

namespace box::test {
namespace {

using frames::AnswerMessage;
using frames::FrameMessage;
using State = FrameConnection::State;

/// A connection without a thread: the test calls read().
class FrameConnectionTest : public testing::Test {
 protected:
  FrameConnectionTest() {
    int sockets[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets), 0);
    writer = std::make_unique<RawWriter>(FileDescriptor(sockets[0]));
    connection = std::make_unique<FrameConnection>(FileDescriptor(sockets[1]), mailbox);
    const auto greeting = writer->receive();
    EXPECT_TRUE(greeting && greeting->kind == AnswerMessage::Kind::Greeting);
  }

  sim::Box box;  // for its log
  std::shared_ptr<media::VideoFrames> mailbox = std::make_shared<media::VideoFrames>();
  std::unique_ptr<RawWriter> writer;
  std::unique_ptr<FrameConnection> connection;
  const FileDescriptor memory = makeMemory(kPictureBytes);
};

TEST_F(FrameConnectionTest, ShowsAFrameWithoutCopyingIt) {
  FrameMessage message = pictureMessage(1);
  message.pts = 1'500'000'000;
  message.flags = VORLANE_FRAMES_BT601 | VORLANE_FRAMES_FULL_RANGE;
  writer->send(message, {memory.get()});
  ASSERT_EQ(connection->read(), State::Open);
  const auto frame = mailbox->latest();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->format, media::VideoFormat::NV12);
  EXPECT_EQ(frame->width, 64);
  EXPECT_EQ(frame->height, 36);
  EXPECT_EQ(frame->time, 1.5);
  EXPECT_EQ(frame->matrix, media::VideoMatrix::BT601);
  EXPECT_TRUE(frame->fullRange);
  EXPECT_EQ(frame->planeCount, 2U);
  EXPECT_EQ(frame->planes[1].data - frame->planes[0].data, 64 * 36);
  EXPECT_EQ(frame->planes[1].rows, 18U);
  // The frame maps the memory, so later writes are visible.
  const std::uint8_t value = 99;
  ASSERT_EQ(pwrite(memory.get(), &value, 1, 64 * 36), 1);
  EXPECT_EQ(frame->planes[1].data[0], value);
}

TEST_F(FrameConnectionTest, ReleasesABufferAfterItsLastUse) {
  const FileDescriptor other = makeMemory(kPictureBytes);
  writer->send(pictureMessage(1, 0), {memory.get()});
  ASSERT_EQ(connection->read(), State::Open);
  auto drawn = mailbox->latest();
  writer->send(pictureMessage(2, 1), {other.get()});
  ASSERT_EQ(connection->read(), State::Open);
  EXPECT_FALSE(writer->hasAnswer()) << "the first is being drawn, the second is the latest";

  drawn->wasShown();
  drawn.reset();
  const auto first = writer->receive();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->kind, AnswerMessage::Kind::Release);
  EXPECT_EQ(first->sequence, 1U);
  EXPECT_EQ(first->index, 0U);
  EXPECT_EQ(first->outcome, static_cast<std::uint32_t>(VORLANE_FRAMES_SHOWN));
  EXPECT_GT(first->shownAt, 0);

  // Without a descriptor: the buffer is mapped already.
  writer->send(pictureMessage(3, 0));
  ASSERT_EQ(connection->read(), State::Open);
  const auto second = writer->receive();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->sequence, 2U);
  EXPECT_EQ(second->outcome, static_cast<std::uint32_t>(VORLANE_FRAMES_SKIPPED));
  EXPECT_EQ(second->shownAt, 0);
  EXPECT_FALSE(writer->hasAnswer());
}

TEST_F(FrameConnectionTest, RejectsFramesThatDoNotFit) {
  using Change = std::function<void(FrameMessage&)>;
  constexpr std::uint32_t kHuge = std::numeric_limits<std::uint32_t>::max();
  const Change changes[]{
      [](FrameMessage& message) { message.height = 37; },
      [](FrameMessage& message) { message.format = 0; },
      [](FrameMessage& message) { message.layout.strides[0] = 63; },
      [](FrameMessage& message) { message.layout.offsets[0] = kHuge; },
  };
  std::uint64_t sequence = 1;
  writer->send(pictureMessage(sequence), {memory.get()});
  ASSERT_EQ(connection->read(), State::Open);
  const auto shown = mailbox->latest();
  for (const Change& change : changes) {
    FrameMessage message = pictureMessage(++sequence);
    change(message);
    writer->send(message);
    ASSERT_EQ(connection->read(), State::Open) << sequence;
    const auto answer = writer->receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->sequence, sequence);
    EXPECT_EQ(answer->outcome, static_cast<std::uint32_t>(VORLANE_FRAMES_REFUSED));
    EXPECT_EQ(mailbox->latest(), shown);
  }
  EXPECT_EQ(box.logCount("do not fit their buffer"), 1U) << "logged once";
}

TEST_F(FrameConnectionTest, RejectsMemoryThatCanShrink) {
  const testing_support::TemporaryFolder folder;
  const FileDescriptor file(open((folder / "frames").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(ftruncate(file.get(), kPictureBytes), 0);
  const FileDescriptor unsealed = makeMemory(kPictureBytes, false);
  const FileDescriptor halfSealed = makeMemory(kPictureBytes, false);
  ASSERT_EQ(fcntl(halfSealed.get(), F_ADD_SEALS, F_SEAL_SHRINK), 0);
  const FileDescriptor empty = makeMemory(0);
  const FileDescriptor huge = makeMemory(VORLANE_FRAMES_MAXIMUM_BYTES + 1);
  int pipes[2];
  ASSERT_EQ(pipe(pipes), 0);
  const FileDescriptor output(pipes[0]);
  const FileDescriptor input(pipes[1]);
  for (const FileDescriptor* wrong : {&file, &unsealed, &halfSealed, &empty, &huge, &output}) {
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets), 0);
    RawWriter other{FileDescriptor(sockets[0])};
    FrameConnection reader(FileDescriptor(sockets[1]), mailbox);
    other.send(pictureMessage(1), {wrong->get()});
    EXPECT_EQ(reader.read(), State::Broken);
    EXPECT_NE(reader.reason().find("a buffer"), std::string::npos);
    EXPECT_FALSE(mailbox->latest());
  }
  // Sealed memory cannot be truncated.
  EXPECT_EQ(ftruncate(memory.get(), 1), -1);
}

TEST_F(FrameConnectionTest, InvalidMessagesEndTheConnection) {
  struct Case {
    const char* name;
    std::function<void(RawWriter&)> send;
  };
  auto wrongKind = frames::encode(pictureMessage(1));
  wrongKind[6] = 2;
  const int descriptor = memory.get();
  const Case cases[]{
      {"kind", [&](RawWriter& to) { to.send(wrongKind, {descriptor}); }},
      {"short", [&](RawWriter& to) { to.send(std::vector<std::uint8_t>(10), {descriptor}); }},
      {"long", [&](RawWriter& to) { to.send(std::vector<std::uint8_t>(4000), {descriptor}); }},
      {"no buffer", [&](RawWriter& to) { to.send(pictureMessage(1)); }},
      {"index", [&](RawWriter& to) { to.send(pictureMessage(1, 4), {descriptor}); }},
      {"far index", [&](RawWriter& to) { to.send(pictureMessage(1, ~0U), {descriptor}); }},
      {"sequence 0", [&](RawWriter& to) { to.send(pictureMessage(0), {descriptor}); }},
      {"two descriptors",
       [&](RawWriter& to) {
         to.send(pictureMessage(1), {descriptor, descriptor});
       }},
      {"too many descriptors",
       [&](RawWriter& to) {
         to.send(pictureMessage(1), {descriptor, descriptor, descriptor, descriptor, descriptor});
       }},
      {"buffer sent while in use",
       [&](RawWriter& to) {
         to.send(pictureMessage(1), {descriptor});
         to.send(pictureMessage(2));
       }},
      {"repeated sequence number",
       [&](RawWriter& to) {
         to.send(pictureMessage(1), {descriptor});
         to.send(pictureMessage(1, 1), {descriptor});
       }},
  };
  for (const Case& testCase : cases) {
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets), 0);
    RawWriter other{FileDescriptor(sockets[0])};
    auto reader = std::make_unique<FrameConnection>(FileDescriptor(sockets[1]), mailbox);
    EXPECT_TRUE(other.receive());
    testCase.send(other);
    EXPECT_EQ(reader->read(), State::Broken) << testCase.name;
    EXPECT_FALSE(reader->reason().empty()) << testCase.name;
    reader.reset();
    EXPECT_FALSE(other.receive()) << testCase.name << ": the writer is disconnected";
    mailbox->close();
  }
}

TEST_F(FrameConnectionTest, DetectsADisconnect) {
  writer->send(pictureMessage(1), {memory.get()});
  writer->close();
  // Messages before the disconnect are read.
  EXPECT_EQ(connection->read(), State::ClosedByWriter);
  EXPECT_TRUE(mailbox->latest());
  connection.reset();
  // The release of the frame cannot be sent, which is ignored.
  mailbox->close();
  EXPECT_FALSE(mailbox->latest());
}

TEST_F(FrameConnectionTest, DisconnectsAWriterThatDoesNotRead) {
  FrameMessage wrong = pictureMessage(1);
  wrong.width = 9999;
  State state = State::Open;
  writer->send(wrong, {memory.get()});
  for (std::uint64_t sequence = 2; state == State::Open && sequence < 100'000; ++sequence) {
    state = connection->read();
    if (state != State::Open) break;
    wrong.sequence = sequence;
    writer->send(wrong);
  }
  EXPECT_EQ(state, State::Broken);
  EXPECT_EQ(connection->reason(), "the writer does not read its releases");
}

TEST_F(FrameConnectionTest, AFrameKeepsAReplacedBuffer) {
  writer->send(pictureMessage(1), {memory.get()});
  ASSERT_EQ(connection->read(), State::Open);
  auto shown = mailbox->latest();
  const FileDescriptor other = makeMemory(2 * kPictureBytes);
  writer->send(pictureMessage(2), {other.get()});
  ASSERT_EQ(connection->read(), State::Open);
  EXPECT_NE(mailbox->latest(), shown);
  EXPECT_EQ(shown->planes[0].data[0], 0) << "still mapped";
  connection.reset();
  shown.reset();
}

}  // namespace
}  // namespace box::test
