#include "box/frames/FrameConnection.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>

#include "box/frames/MappedFrame.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {

using frames::AnswerMessage;
using frames::FrameMessage;

namespace {

/// More than one are never meant, but have to be closed.
constexpr std::size_t kMaximumDescriptors = 4;
constexpr int kMessagesAtATime = 16;

AnswerMessage greeting(std::uint32_t outcome) {
  AnswerMessage message;
  message.kind = AnswerMessage::Kind::Greeting;
  message.outcome = outcome;
  return message;
}

std::vector<FileDescriptor> descriptorsOf(msghdr& header) {
  std::vector<FileDescriptor> descriptors;
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t index = 0; index < count; ++index) {
      int descriptor = -1;
      std::memcpy(&descriptor, CMSG_DATA(part) + index * sizeof(int), sizeof(int));
      descriptors.emplace_back(descriptor);
    }
  }
  return descriptors;
}

std::string sizeText(const FrameMessage& message) {
  return std::to_string(message.width) + "x" + std::to_string(message.height) + " of format " +
         std::to_string(message.format);
}

}  // namespace

FrameConnection::FrameConnection(FileDescriptor socket, std::shared_ptr<media::VideoFrames> frames)
    : _answers(std::make_shared<AnswerSocket>(std::move(socket))),
      _frames(std::move(frames)),
      _ticket(_frames->open()) {
  _answers->send(greeting(AnswerMessage::kWelcome));
}

FrameConnection::~FrameConnection() {
  // The pictures that are still shown hold the socket open.
  _answers->cut();
}

void FrameConnection::refuse(FileDescriptor socket) {
  AnswerSocket(std::move(socket)).send(greeting(AnswerMessage::kBusy));
}

FrameConnection::State FrameConnection::read() {
  State state = State::Open;
  bool more = true;
  for (int count = 0; more && state == State::Open && count < kMessagesAtATime; ++count) {
    state = _readOne(more);
  }
  return state;
}

FrameConnection::State FrameConnection::_readOne(bool& more) {
  more = false;
  // One more than a message has: a longer one must not pass for it.
  std::array<std::uint8_t, frames::kFrameBytes + 1> packet{};
  iovec part{packet.data(), packet.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(kMaximumDescriptors * sizeof(int))];
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = control;
  header.msg_controllen = sizeof control;
  const ssize_t received =
      recvmsg(_answers->descriptor(), &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (received < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return State::Open;
    return State::ClosedByWriter;
  }
  std::vector<FileDescriptor> descriptors = descriptorsOf(header);
  if (received == 0) {
    return _answers->overran() ? _break("it does not read its releases") : State::ClosedByWriter;
  }
  if ((header.msg_flags & MSG_CTRUNC) != 0) return _break("too many descriptors");
  const auto message =
      frames::decodeFrame(std::span(packet).first(static_cast<std::size_t>(received)));
  if (!message) return _break("a message that is none");
  more = true;
  return _handle(*message, std::move(descriptors));
}

FrameConnection::State FrameConnection::_handle(const FrameMessage& message,
                                                std::vector<FileDescriptor> descriptors) {
  if (message.sequence <= _lastSequence) return _break("a picture out of its order");
  _lastSequence = message.sequence;
  if (message.index >= _buffers.size()) return _break("a buffer beyond the last one");
  if (descriptors.size() > 1) return _break("more than one descriptor");
  std::shared_ptr<MappedBuffer>& buffer = _buffers[message.index];
  if (!descriptors.empty()) {
    // A picture of the buffer that was there before keeps it as long as it is shown.
    std::string reason;
    buffer = MappedBuffer::map(descriptors.front().get(), reason);
    if (!buffer) return _break(std::move(reason));
  }
  if (!buffer) return _break("a picture without a buffer");

  const auto shape = frames::shapeOf(message.format, message.width, message.height);
  if (!shape || !frames::fits(*shape, message.layout, buffer->size())) {
    if (!std::exchange(_toldOfRefusal, true)) {
      TVSLogWarning(TVSSystemLog, "Layer: refused pictures that do not fit their buffer: %@",
                    sizeText(message));
    }
    AnswerMessage answer;
    answer.sequence = message.sequence;
    answer.index = message.index;
    answer.outcome = VORLANE_FRAMES_REFUSED;
    _answers->send(answer);
    return State::Open;
  }
  if (!buffer->take()) return _break("a buffer that is still being read");
  _frames->put(_ticket, std::make_shared<MappedFrame>(message, *shape, buffer, _answers));
  return State::Open;
}

FrameConnection::State FrameConnection::_break(std::string reason) {
  _reason = std::move(reason);
  return State::Broken;
}

}  // namespace box
