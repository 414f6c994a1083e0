#include "tests/box/frames/RawWriter.h"

#include <array>
#include <cstring>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "frames/vorlane-frames.h"

namespace box::test {

namespace {
constexpr int kPatienceMilliseconds = 10'000;
}  // namespace

RawWriter RawWriter::connect(const std::string& path) {
  FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  EXPECT_EQ(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            0);
  return RawWriter(std::move(socket));
}

void RawWriter::send(std::span<const std::uint8_t> packet, std::initializer_list<int> descriptors) {
  iovec part{const_cast<std::uint8_t*>(packet.data()), packet.size()};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  alignas(cmsghdr) char control[CMSG_SPACE(8 * sizeof(int))] = {};
  if (descriptors.size() > 0) {
    header.msg_control = control;
    header.msg_controllen = CMSG_SPACE(descriptors.size() * sizeof(int));
    cmsghdr* const rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
    std::memcpy(CMSG_DATA(rights), descriptors.begin(), descriptors.size() * sizeof(int));
  }
  EXPECT_EQ(sendmsg(_socket.get(), &header, MSG_NOSIGNAL), std::ssize(packet));
}

void RawWriter::send(const frames::FrameMessage& message, std::initializer_list<int> descriptors) {
  send(frames::encode(message), descriptors);
}

bool RawWriter::hasAnswer() const {
  pollfd input{_socket.get(), POLLIN, 0};
  return poll(&input, 1, 0) == 1;
}

std::optional<frames::AnswerMessage> RawWriter::receive() {
  pollfd input{_socket.get(), POLLIN, 0};
  EXPECT_EQ(poll(&input, 1, kPatienceMilliseconds), 1) << "no message";
  std::array<std::uint8_t, 256> packet{};
  const ssize_t size = recv(_socket.get(), packet.data(), packet.size(), MSG_DONTWAIT);
  if (size <= 0) return std::nullopt;
  return frames::decodeAnswer(std::span(packet).first(static_cast<std::size_t>(size)));
}

FileDescriptor makeMemory(std::size_t bytes, bool sealed) {
  FileDescriptor memory(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(ftruncate(memory.get(), static_cast<off_t>(bytes)), 0);
  if (sealed) {
    EXPECT_EQ(fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW), 0);
  }
  return memory;
}

frames::FrameMessage pictureMessage(std::uint64_t sequence, std::uint32_t index) {
  frames::FrameMessage message;
  message.sequence = sequence;
  message.index = index;
  message.format = VORLANE_FRAMES_NV12;
  message.width = 64;
  message.height = 36;
  message.layout = {{0, 64 * 36, 0}, {64, 64, 0}};
  return message;
}

}  // namespace box::test
