#include "box/frames/FrameConnection.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>

#include "frames/vorlane-frames.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {

using frames::AnswerMessage;
using frames::FilmMessage;

namespace {

/// Valid messages have one descriptor at most. Others are received too, so that they get closed.
constexpr std::size_t kMaxDescriptors = 4;
constexpr int kMaxMessagesPerRead = 16;

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

std::string sizeText(const FilmMessage& message) {
  return std::to_string(message.width) + "x" + std::to_string(message.height) + " of format " +
         std::to_string(message.format);
}

}  // namespace

FrameConnection::FrameConnection(FileDescriptor socket, Setup setup)
    : _answers(std::make_shared<AnswerSocket>(std::move(socket))),
      _setup(std::move(setup)),
      _buffers(_setup.content == Content::Film ? frames::kFilmBuffers
                                               : VORLANE_FRAMES_MAXIMUM_BUFFERS) {
  _answers->send(greeting(AnswerMessage::kWelcome));
}

FrameConnection::FrameConnection(FileDescriptor socket,
                                 const std::shared_ptr<media::VideoFrames>& frames)
    : FrameConnection(std::move(socket),
                      {.content = Content::Screen,
                       .onFrame = [frames, ticket = frames->open()](
                                      const FilmMessage&, std::shared_ptr<MappedFrame> frame) {
                         frames->put(ticket, std::move(frame));
                       }}) {}

FrameConnection::~FrameConnection() {
  // Frames that are still shown keep the socket open.
  _answers->shutDown();
}

void FrameConnection::rejectBusy(FileDescriptor socket) {
  AnswerSocket(std::move(socket)).send(greeting(AnswerMessage::kBusy));
}

FrameConnection::State FrameConnection::read() {
  State state = State::Open;
  bool more = true;
  for (int count = 0; more && state == State::Open && count < kMaxMessagesPerRead; ++count) {
    state = _readOne(more);
  }
  return state;
}

FrameConnection::State FrameConnection::_readOne(bool& more) {
  more = false;
  // One byte more than the longest message, so that longer packets are not accepted.
  std::array<std::uint8_t, frames::kFilmBytes + 1> packet{};
  iovec part{packet.data(), packet.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(kMaxDescriptors * sizeof(int))];
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
    return _answers->overran() ? _fail("the writer does not read its releases")
                               : State::ClosedByWriter;
  }
  if ((header.msg_flags & MSG_CTRUNC) != 0) return _fail("too many descriptors");
  const auto message = _decode(std::span(packet).first(static_cast<std::size_t>(received)));
  if (!message) return _fail("invalid message");
  more = true;
  return _handle(*message, std::move(descriptors));
}

std::optional<FilmMessage> FrameConnection::_decode(std::span<const std::uint8_t> packet) const {
  if (_setup.content == Content::Film) return frames::decodeFilm(packet);
  const auto frame = frames::decodeFrame(packet);
  if (!frame) return std::nullopt;
  FilmMessage message;
  static_cast<frames::FrameMessage&>(message) = *frame;
  message.due = message.pts;
  return message;
}

FrameConnection::State FrameConnection::_handle(const FilmMessage& message,
                                                std::vector<FileDescriptor> descriptors) {
  if (message.sequence <= _lastSequence) return _fail("sequence number out of order");
  _lastSequence = message.sequence;
  _unmap(message.gone);
  if (message.kind == FilmMessage::Kind::None) {
    if (!descriptors.empty()) return _fail("a descriptor without a frame");
    _setup.onFrame(message, nullptr);
    return State::Open;
  }
  if (message.index >= _buffers.size()) return _fail("buffer index out of range");
  if (descriptors.size() > 1) return _fail("more than one descriptor");
  if (!descriptors.empty() && !_map(message.index, descriptors.front())) return State::Broken;
  const std::shared_ptr<MappedBuffer>& buffer = _buffers[message.index];
  if (!buffer) return _fail("a frame without a buffer");

  const auto shape = frames::shapeOf(message.format, message.width, message.height);
  if (!shape || !frames::fits(*shape, message.layout, buffer->size()) ||
      !frames::isDrawable(message)) {
    _reject(message);
    return State::Open;
  }
  if (!buffer->acquire() && _setup.content == Content::Screen) {
    return _fail("a buffer that is still in use");
  }
  _setup.onFrame(message, std::make_shared<MappedFrame>(message, *shape, buffer, _answers));
  return State::Open;
}

void FrameConnection::_unmap(std::uint64_t gone) {
  for (std::size_t index = 0; gone != 0 && index < _buffers.size(); ++index, gone >>= 1U) {
    if ((gone & 1U) == 0 || !_buffers[index]) continue;
    // A frame that is still shown keeps its buffer.
    _mappedBytes -= _buffers[index]->size();
    _buffers[index].reset();
  }
}

bool FrameConnection::_map(std::uint32_t index, const FileDescriptor& descriptor) {
  // A frame that is still shown keeps the previous buffer.
  _unmap(std::uint64_t{1} << index);
  auto buffer = MappedBuffer::map(descriptor.get(), _reason);
  if (!buffer) return false;
  _mappedBytes += buffer->size();
  if (_mappedBytes > frames::kFilmMemory) {
    _reason = "the buffers exceed the memory limit";
    return false;
  }
  _buffers[index] = std::move(buffer);
  return true;
}

void FrameConnection::_reject(const FilmMessage& message) {
  if (!std::exchange(_loggedRejection, true)) {
    TVSLogWarning(TVSSystemLog, "Rejected frames that do not fit their buffer: %@",
                  sizeText(message));
  }
  AnswerMessage answer;
  answer.sequence = message.sequence;
  answer.index = message.index;
  answer.outcome = VORLANE_FRAMES_REFUSED;
  _answers->send(answer);
}

FrameConnection::State FrameConnection::_fail(std::string reason) {
  _reason = std::move(reason);
  return State::Broken;
}

}  // namespace box
