#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "frames/FrameMessages.h"
#include "frames/vorlane-frames.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using frames::AnswerMessage;
using frames::FrameMessage;

/// Plays the reader on the other end of the socket.
class FrameWriterTest : public testing::Test {
 protected:
  FrameWriterTest() {
    int sockets[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets), 0);
    _reader = sockets[0];
    _writerSocket = sockets[1];
  }
  ~FrameWriterTest() override {
    vorlane_frames_close(writer);
    close(_reader);
    for (const int descriptor : descriptors) close(descriptor);
  }

  void answer(AnswerMessage::Kind kind, std::uint64_t sequence, std::uint32_t outcome,
              std::int64_t shownAt = 0) const {
    AnswerMessage message;
    message.kind = kind;
    message.sequence = sequence;
    message.outcome = outcome;
    message.shownAt = shownAt;
    const auto packet = encode(message);
    ASSERT_EQ(send(_reader, packet.data(), packet.size(), 0), std::ssize(packet));
  }
  void release(std::uint64_t sequence, std::uint32_t outcome = VORLANE_FRAMES_SKIPPED,
               std::int64_t shownAt = 0) const {
    answer(AnswerMessage::Kind::Release, sequence, outcome, shownAt);
  }
  int adopt(int timeout = 0) { return vorlane_frames_adopt(_writerSocket, timeout, &writer); }
  void connect(std::uint32_t count = 2, std::uint32_t format = VORLANE_FRAMES_NV12) {
    answer(AnswerMessage::Kind::Greeting, 0, AnswerMessage::kWelcome);
    ASSERT_EQ(adopt(), VORLANE_FRAMES_OK);
    ASSERT_EQ(vorlane_frames_configure(writer, format, 64, 36, count), VORLANE_FRAMES_OK);
  }
  /// Acquires a buffer, fills it with `value` and sends it. Returns the first error.
  int sendOne(std::uint8_t value = 0, const vorlane_frames_picture* picture = nullptr) {
    vorlane_frames_buffer buffer;
    if (const int result = vorlane_frames_acquire(writer, 0, &buffer)) return result;
    std::memset(buffer.planes[0], value, buffer.size);
    return vorlane_frames_send(writer, &buffer, picture);
  }
  /// Receives a message of the writer. A descriptor is appended to `descriptors`.
  std::optional<FrameMessage> receive() {
    std::array<std::uint8_t, 256> packet{};
    iovec part{packet.data(), packet.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(_reader, &header, MSG_DONTWAIT);
    if (size <= 0) return std::nullopt;
    if (const cmsghdr* rights = CMSG_FIRSTHDR(&header)) {
      int descriptor = -1;
      std::memcpy(&descriptor, CMSG_DATA(rights), sizeof descriptor);
      descriptors.push_back(descriptor);
    }
    return frames::decodeFrame(std::span(packet).first(static_cast<std::size_t>(size)));
  }
  void hangUp() const { shutdown(_reader, SHUT_RDWR); }

  vorlane_frames_writer* writer = nullptr;
  std::vector<int> descriptors;

 private:
  int _reader = -1;
  int _writerSocket = -1;
};

TEST_F(FrameWriterTest, WaitsForTheGreeting) {
  EXPECT_EQ(adopt(), VORLANE_FRAMES_TIMED_OUT);
  EXPECT_EQ(writer, nullptr);
}

TEST_F(FrameWriterTest, FailsIfAnotherWriterIsConnected) {
  answer(AnswerMessage::Kind::Greeting, 0, AnswerMessage::kBusy);
  EXPECT_EQ(adopt(), VORLANE_FRAMES_BUSY);
}

TEST_F(FrameWriterTest, RejectsOtherMessagesBeforeTheGreeting) {
  release(1);
  EXPECT_EQ(adopt(), VORLANE_FRAMES_PROTOCOL);
}

TEST_F(FrameWriterTest, SendsTheDescriptorWithTheFirstPictureOfABuffer) {
  connect(2);
  const vorlane_frames_picture picture{1'000, VORLANE_FRAMES_FULL_RANGE, {1, 2, 63, 34}};
  ASSERT_EQ(sendOne(7, &picture), VORLANE_FRAMES_OK);
  const auto first = receive();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->sequence, 1U);
  EXPECT_EQ(first->pts, 1'000);
  EXPECT_EQ(first->flags, VORLANE_FRAMES_FULL_RANGE);
  EXPECT_EQ(first->damage, (FrameMessage::Rect{1, 2, 63, 34}));
  EXPECT_EQ(first->width, 64U);
  EXPECT_EQ(first->height, 36U);
  ASSERT_EQ(descriptors.size(), 1U);

  // The memory has the announced size, which is sealed.
  const int memory = descriptors[0];
  struct stat file {};
  ASSERT_EQ(fstat(memory, &file), 0);
  const auto shape = frames::shapeOf(first->format, first->width, first->height);
  EXPECT_TRUE(frames::fits(*shape, first->layout, static_cast<std::size_t>(file.st_size)));
  EXPECT_EQ(ftruncate(memory, 16), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(ftruncate(memory, file.st_size + 1), -1);
  std::uint8_t byte = 0;
  EXPECT_EQ(pread(memory, &byte, 1, 65), 1);
  EXPECT_EQ(byte, 7);

  ASSERT_EQ(sendOne(), VORLANE_FRAMES_OK);
  EXPECT_EQ(receive()->index, 1 - first->index);
  EXPECT_EQ(descriptors.size(), 2U);
  EXPECT_EQ(sendOne(), VORLANE_FRAMES_TIMED_OUT);
  release(1);
  ASSERT_EQ(sendOne(), VORLANE_FRAMES_OK);
  const auto third = receive();
  EXPECT_EQ(third->index, first->index);
  EXPECT_EQ(third->pts, -1);
  EXPECT_EQ(descriptors.size(), 2U) << "each descriptor is sent once";
}

TEST_F(FrameWriterTest, ReportsTheOutcomeOfEachPicture) {
  connect(3);
  std::vector<vorlane_frames_release> releases;
  vorlane_frames_on_release(
      writer,
      [](const vorlane_frames_release* one, void* context) {
        static_cast<std::vector<vorlane_frames_release>*>(context)->push_back(*one);
      },
      &releases);
  for (std::int64_t pts : {10, 20, 30}) {
    const vorlane_frames_picture picture{pts, 0, {}};
    ASSERT_EQ(sendOne(0, &picture), VORLANE_FRAMES_OK);
  }
  release(2, VORLANE_FRAMES_SKIPPED);
  release(1, VORLANE_FRAMES_SHOWN, 12345);
  release(3, 77);
  ASSERT_EQ(vorlane_frames_process(writer), VORLANE_FRAMES_OK);
  ASSERT_EQ(releases.size(), 3U);
  EXPECT_EQ(releases[0].sequence, 2U);
  EXPECT_EQ(releases[0].pts_ns, 20);
  EXPECT_EQ(releases[1].outcome, VORLANE_FRAMES_SHOWN);
  EXPECT_EQ(releases[1].shown_ns, 12345);
  EXPECT_EQ(releases[2].outcome, VORLANE_FRAMES_REFUSED);
  for (const auto& one : releases) {
    EXPECT_GT(one.sent_ns, 0);
    EXPECT_GE(one.released_ns, one.sent_ns);
  }
  const auto count = vorlane_frames_count(writer);
  EXPECT_EQ(count.sent, 3U);
  EXPECT_EQ(count.shown, 1U);
  EXPECT_EQ(count.skipped, 1U);
  EXPECT_EQ(count.refused, 1U);
}

TEST_F(FrameWriterTest, ReleasesOfDiscardedBuffersFreeNoOtherBuffer) {
  connect(2);
  ASSERT_EQ(sendOne(), VORLANE_FRAMES_OK);
  ASSERT_EQ(sendOne(), VORLANE_FRAMES_OK);
  // The picture size changes, as after a rotation of the sender's device.
  ASSERT_EQ(vorlane_frames_configure(writer, VORLANE_FRAMES_NV12, 36, 64, 2), VORLANE_FRAMES_OK);
  ASSERT_EQ(sendOne(), VORLANE_FRAMES_OK);
  ASSERT_EQ(sendOne(), VORLANE_FRAMES_OK);
  release(1);
  release(2);
  EXPECT_EQ(sendOne(), VORLANE_FRAMES_TIMED_OUT);
  release(4);
  EXPECT_EQ(sendOne(), VORLANE_FRAMES_OK);
  EXPECT_EQ(vorlane_frames_count(writer).skipped, 3U);
  for (int count = 0; count < 5; ++count) ASSERT_TRUE(receive());
  EXPECT_EQ(descriptors.size(), 4U) << "new buffers have new descriptors";
}

TEST_F(FrameWriterTest, FailsAfterTheReaderHasClosed) {
  connect();
  hangUp();
  EXPECT_EQ(sendOne(), VORLANE_FRAMES_DISCONNECTED);
}

TEST_F(FrameWriterTest, UnexpectedReleasesAreProtocolErrors) {
  connect();
  ASSERT_EQ(sendOne(), VORLANE_FRAMES_OK);
  release(2);
  EXPECT_EQ(vorlane_frames_process(writer), VORLANE_FRAMES_PROTOCOL);
}

TEST_F(FrameWriterTest, RejectsInvalidArguments) {
  connect(4);
  const struct {
    std::uint32_t format, width, height, count;
  } cases[]{{0, 64, 36, 2},
            {9, 64, 36, 2},
            {VORLANE_FRAMES_BGRA, 0, 36, 2},
            {VORLANE_FRAMES_BGRA, 64, 8193, 2},
            {VORLANE_FRAMES_BGRA, 8192, 8192, 2},
            {VORLANE_FRAMES_BGRA, 64, 36, 1},
            {VORLANE_FRAMES_BGRA, 64, 36, 5}};
  vorlane_frames_buffer buffer;
  for (const auto& the : cases) {
    EXPECT_EQ(vorlane_frames_configure(writer, the.format, the.width, the.height, the.count),
              VORLANE_FRAMES_INVALID);
    EXPECT_EQ(vorlane_frames_acquire(writer, 0, &buffer), VORLANE_FRAMES_INVALID);
  }
  ASSERT_EQ(vorlane_frames_configure(writer, VORLANE_FRAMES_BGRA, 64, 36, 2), VORLANE_FRAMES_OK);
  buffer = {};
  EXPECT_EQ(vorlane_frames_send(writer, &buffer, nullptr), VORLANE_FRAMES_INVALID)
      << "not acquired";
  ASSERT_EQ(vorlane_frames_acquire(writer, 0, &buffer), VORLANE_FRAMES_OK);
  for (const vorlane_frames_rect damage :
       {vorlane_frames_rect{0, 0, 65, 1}, {64, 0, 1, 1}, {0, 30, 1, 7}, {~0U, 0, 2, 1}}) {
    const vorlane_frames_picture picture{0, 0, damage};
    EXPECT_EQ(vorlane_frames_send(writer, &buffer, &picture), VORLANE_FRAMES_INVALID);
  }
  EXPECT_EQ(vorlane_frames_send(writer, &buffer, nullptr), VORLANE_FRAMES_OK);
  EXPECT_EQ(vorlane_frames_send(writer, &buffer, nullptr), VORLANE_FRAMES_INVALID)
      << "sent already";
  EXPECT_EQ(vorlane_frames_acquire(nullptr, 0, &buffer), VORLANE_FRAMES_INVALID);
  EXPECT_EQ(vorlane_frames_descriptor(nullptr), -1);
  vorlane_frames_close(nullptr);
}

TEST(FrameConnect, ReportsWhyConnectingFails) {
  const testing_support::TemporaryFolder temporary;
  const std::string& folder = temporary.path();
  const std::string file = folder + "/file";
  close(open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  const std::string stale = folder + "/stale";
  const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, stale.c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(socket);

  vorlane_frames_writer* writer = nullptr;
  for (const auto& [path, result] :
       std::vector<std::pair<std::string, int>>{{folder + "/nobody", VORLANE_FRAMES_NO_LAYER},
                                                {file + "/below", VORLANE_FRAMES_NO_LAYER},
                                                {file, VORLANE_FRAMES_NO_LAYER},
                                                {stale, VORLANE_FRAMES_NO_LAYER},
                                                {"", VORLANE_FRAMES_INVALID},
                                                {std::string(200, 'x'), VORLANE_FRAMES_INVALID}}) {
    EXPECT_EQ(vorlane_frames_connect(path.c_str(), 0, &writer), result) << path;
    EXPECT_EQ(writer, nullptr);
  }
}

}  // namespace
