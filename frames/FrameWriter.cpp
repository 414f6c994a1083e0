#include "frames/FrameWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace frames {

namespace {

std::int64_t deadlineIn(int milliseconds) {
  return monotonicNow() + std::int64_t{std::max(milliseconds, 0)} * 1'000'000;
}

}  // namespace

std::int64_t monotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

FrameWriter::~FrameWriter() { ::close(_socket); }

int FrameWriter::greet(int timeoutMilliseconds) {
  const std::int64_t deadline = deadlineIn(timeoutMilliseconds);
  for (;;) {
    std::optional<AnswerMessage> answer;
    if (const int result = _receive(answer); result != VORLANE_FRAMES_OK) return result;
    if (answer) {
      if (answer->kind != AnswerMessage::Kind::Greeting) return VORLANE_FRAMES_PROTOCOL;
      return answer->outcome == AnswerMessage::kWelcome ? VORLANE_FRAMES_OK : VORLANE_FRAMES_BUSY;
    }
    if (const int result = _waitForInput(deadline); result != VORLANE_FRAMES_OK) return result;
  }
}

int FrameWriter::configure(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                           std::uint32_t count) {
  _acquired.reset();
  _slotCount = 0;
  for (Slot& slot : _slots) slot = {};
  const auto shape = shapeOf(format, width, height);
  std::size_t bytes = 0;
  const auto layout = shape ? layoutFor(*shape, &bytes) : std::nullopt;
  if (!layout || count < VORLANE_FRAMES_MINIMUM_BUFFERS || count > VORLANE_FRAMES_MAXIMUM_BUFFERS) {
    return VORLANE_FRAMES_INVALID;
  }
  for (std::uint32_t index = 0; index < count; ++index) {
    _slots[index].memory = SharedBuffer::make(bytes);
    if (_slots[index].memory) continue;
    for (Slot& slot : _slots) slot = {};
    return VORLANE_FRAMES_NO_MEMORY;
  }
  _format = format;
  _width = width;
  _height = height;
  _shape = *shape;
  _layout = *layout;
  _slotCount = count;
  return VORLANE_FRAMES_OK;
}

int FrameWriter::acquire(int timeoutMilliseconds, vorlane_frames_buffer* buffer) {
  if (_slotCount == 0) return VORLANE_FRAMES_INVALID;
  const std::int64_t deadline = deadlineIn(timeoutMilliseconds);
  for (;;) {
    // Releases are read even if a buffer is free. A writer that never waits would not read them
    // otherwise.
    if (const int result = process(); result != VORLANE_FRAMES_OK) return result;
    for (std::uint32_t index = 0; index < _slotCount && !_acquired; ++index) {
      if (_slots[index].occupant == 0) _acquired = index;
    }
    if (_acquired) {
      _describe(*_acquired, buffer);
      return VORLANE_FRAMES_OK;
    }
    if (const int result = _waitForInput(deadline); result != VORLANE_FRAMES_OK) return result;
  }
}

void FrameWriter::_describe(std::uint32_t index, vorlane_frames_buffer* buffer) const {
  const SharedBuffer& memory = *_slots[index].memory;
  *buffer = {};
  buffer->index = index;
  buffer->format = _format;
  buffer->width = _width;
  buffer->height = _height;
  buffer->plane_count = static_cast<std::uint32_t>(_shape.planeCount);
  for (std::size_t plane = 0; plane < _shape.planeCount; ++plane) {
    buffer->planes[plane] = memory.data() + _layout.offsets[plane];
    buffer->strides[plane] = _layout.strides[plane];
    buffer->rows[plane] = static_cast<std::uint32_t>(_shape.planes[plane].rows);
  }
  buffer->size = memory.size();
}

int FrameWriter::send(const vorlane_frames_buffer& buffer, const vorlane_frames_picture& picture) {
  if (_acquired != buffer.index) return VORLANE_FRAMES_INVALID;
  const vorlane_frames_rect& damage = picture.damage;
  if (damage.x > _width || damage.width > _width - damage.x || damage.y > _height ||
      damage.height > _height - damage.y) {
    return VORLANE_FRAMES_INVALID;
  }
  Slot& slot = _slots[buffer.index];
  FrameMessage message;
  message.sequence = _lastSequence + 1;
  message.pts = picture.pts_ns;
  message.index = buffer.index;
  message.format = _format;
  message.width = _width;
  message.height = _height;
  message.flags = picture.flags;
  message.layout = _layout;
  message.damage = {damage.x, damage.y, damage.width, damage.height};
  FramePacket packet = encode(message);

  iovec part{packet.data(), packet.size()};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  if (!slot.announced) {
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    cmsghdr* const rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = slot.memory->descriptor();
    std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
  }
  // Before sending, because the allocation may fail.
  const std::int64_t now = monotonicNow();
  const auto pending = _pending.emplace(message.sequence, Pending{picture.pts_ns, now}).first;
  ssize_t sent = -1;
  do {
    sent = sendmsg(_socket, &header, MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  if (sent < 0) {
    const int error = errno;
    _pending.erase(pending);
    if (error == EAGAIN || error == EWOULDBLOCK) return VORLANE_FRAMES_TIMED_OUT;
    return error == ENOMEM || error == ENOBUFS || error == ETOOMANYREFS
               ? VORLANE_FRAMES_NO_MEMORY
               : VORLANE_FRAMES_DISCONNECTED;
  }
  slot.announced = true;
  slot.occupant = message.sequence;
  _lastSequence = message.sequence;
  _acquired.reset();
  ++_statistics.sent;
  return VORLANE_FRAMES_OK;
}

int FrameWriter::process() {
  for (;;) {
    std::optional<AnswerMessage> answer;
    if (const int result = _receive(answer); result != VORLANE_FRAMES_OK) return result;
    if (!answer) return VORLANE_FRAMES_OK;
    if (const int result = _released(*answer); result != VORLANE_FRAMES_OK) return result;
  }
}

int FrameWriter::_released(const AnswerMessage& answer) {
  const auto found = _pending.find(answer.sequence);
  if (answer.kind != AnswerMessage::Kind::Release || found == _pending.end()) {
    return VORLANE_FRAMES_PROTOCOL;
  }
  const Pending pending = found->second;
  _pending.erase(found);
  for (Slot& slot : _slots) {
    if (slot.occupant == answer.sequence) slot.occupant = 0;
  }
  vorlane_frames_release release{};
  release.sequence = answer.sequence;
  release.outcome =
      static_cast<std::int32_t>(std::min<std::uint32_t>(answer.outcome, VORLANE_FRAMES_REFUSED));
  release.pts_ns = pending.pts;
  release.sent_ns = pending.sentAt;
  release.shown_ns = answer.shownAt;
  release.released_ns = monotonicNow();
  switch (release.outcome) {
    case VORLANE_FRAMES_SHOWN:
      ++_statistics.shown;
      break;
    case VORLANE_FRAMES_SKIPPED:
      ++_statistics.skipped;
      break;
    default:
      ++_statistics.refused;
      break;
  }
  if (_handler) _handler(&release, _context);
  return VORLANE_FRAMES_OK;
}

int FrameWriter::_receive(std::optional<AnswerMessage>& answer) const {
  // One byte more than a packet, to detect longer packets.
  std::array<std::uint8_t, kAnswerBytes + 1> packet{};
  ssize_t received = -1;
  do {
    received = recv(_socket, packet.data(), packet.size(), MSG_DONTWAIT);
  } while (received < 0 && errno == EINTR);
  if (received < 0) {
    return errno == EAGAIN || errno == EWOULDBLOCK ? VORLANE_FRAMES_OK
                                                   : VORLANE_FRAMES_DISCONNECTED;
  }
  if (received == 0) return VORLANE_FRAMES_DISCONNECTED;
  answer = decodeAnswer(std::span(packet).first(static_cast<std::size_t>(received)));
  return answer ? VORLANE_FRAMES_OK : VORLANE_FRAMES_PROTOCOL;
}

int FrameWriter::_waitForInput(std::int64_t deadline) const {
  for (;;) {
    const std::int64_t rest = deadline - monotonicNow();
    if (rest <= 0) return VORLANE_FRAMES_TIMED_OUT;
    pollfd input{_socket, POLLIN, 0};
    const timespec time{rest / 1'000'000'000, rest % 1'000'000'000};
    const int ready = ppoll(&input, 1, &time, nullptr);
    if (ready > 0) return VORLANE_FRAMES_OK;
    if (ready < 0 && errno != EINTR) return VORLANE_FRAMES_DISCONNECTED;
  }
}

}  // namespace frames
