#include "media/process/PictureSender.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <span>
#include <utility>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "frames/vorlane-frames.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {
namespace {

using frames::FilmMessage;

/// The maximum number of pictures that the box holds. It needs the newest picture and the picture
/// that it draws.
constexpr std::size_t kMaxHeld = 4;
constexpr int kMaxAnswersPerRead = 64;

std::uint32_t formatOf(VideoFormat format) {
  switch (format) {
    case VideoFormat::NV12:
      return VORLANE_FRAMES_NV12;
    case VideoFormat::I420:
      return VORLANE_FRAMES_I420;
    default:
      return VORLANE_FRAMES_BGRA;
  }
}

std::int64_t nanosecondsFrom(double seconds) {
  constexpr double kMax = 9e9;  // fits into 64 bits
  return seconds >= 0 && seconds < kMax ? std::llround(seconds * 1e9) : -1;
}

/// Returns a message without the location of the picture.
FilmMessage messageOf(const VideoFrame& frame) {
  FilmMessage message;
  message.pts = nanosecondsFrom(frame.time);
  message.due = nanosecondsFrom(frame.due);
  message.format = formatOf(frame.format);
  message.width = static_cast<std::uint32_t>(std::max(frame.width, 0));
  message.height = static_cast<std::uint32_t>(std::max(frame.height, 0));
  message.flags = (frame.fullRange ? VORLANE_FRAMES_FULL_RANGE : 0U) |
                  (frame.matrix == VideoMatrix::BT601 ? VORLANE_FRAMES_BT601 : 0U);
  message.texts = frame.subtitles ? frame.subtitles->identity() : 0;
  message.aspectNumerator = static_cast<std::uint32_t>(std::max(frame.pixelAspectNumerator, 0));
  message.aspectDenominator = static_cast<std::uint32_t>(std::max(frame.pixelAspectDenominator, 0));
  message.rotation = static_cast<std::uint32_t>(frame.rotationDegrees);
  if (!frames::isDrawable(message)) {
    message.aspectNumerator = message.aspectDenominator = 1;
    message.rotation = 0;
  }
  return message;
}

std::optional<frames::PictureShape> shapeOf(const VideoFrame& frame) {
  return frames::shapeOf(formatOf(frame.format),
                         static_cast<std::uint32_t>(std::max(frame.width, 0)),
                         static_cast<std::uint32_t>(std::max(frame.height, 0)));
}

/// Returns the layout of the planes in the shared memory, or nullopt if they are elsewhere.
std::optional<frames::FrameLayout> layoutIn(const VideoFrame& frame,
                                            const frames::PictureShape& shape) {
  const frames::SharedBuffer& memory = *frame.sharedMemory;
  frames::FrameLayout layout;
  for (std::size_t index = 0; index < shape.planeCount; ++index) {
    const VideoPlane& plane = frame.planes[index];
    if (plane.data < memory.data() || plane.data >= memory.data() + memory.size()) return {};
    layout.offsets[index] = static_cast<std::uint32_t>(plane.data - memory.data());
    layout.strides[index] = static_cast<std::uint32_t>(plane.stride);
  }
  if (!frames::fits(shape, layout, memory.size()) || memory.size() > VORLANE_FRAMES_MAXIMUM_BYTES)
    return {};
  return layout;
}

template <typename One, typename Other>
bool haveSameOwner(const One& one, const Other& other) {
  return !one.owner_before(other) && !other.owner_before(one);
}

}  // namespace

PictureSender::PictureSender(int socket, std::shared_ptr<VideoFrames> frames)
    : _socket(socket), _epoll(epoll_create1(EPOLL_CLOEXEC)), _frames(std::move(frames)) {
  epoll_event event{};  // EPOLLHUP is always reported
  epoll_ctl(_epoll, EPOLL_CTL_ADD, _socket, &event);
  _frames->setWakeup([this] { _sendNewest(); });
  _sendNewest();
}

PictureSender::~PictureSender() {
  _frames->setWakeup(nullptr);
  ::close(_epoll);
  ::close(_socket);
}

void PictureSender::setEpoch(std::uint64_t epoch) {
  {
    const std::lock_guard lock(_mutex);
    _epoch = epoch;
    _sendsAgain = true;
  }
  _sendNewest();
}

bool PictureSender::read() {
  ReadResult result = ReadResult::Answer;
  std::vector<Held> released;  // destroyed after the lock is released
  {
    const std::lock_guard lock(_mutex);
    for (int count = 0; count < kMaxAnswersPerRead && result == ReadResult::Answer; ++count)
      result = _takeAnswer(released);
  }
  released.clear();
  if (result == ReadResult::End) return false;
  _sendNewest();
  return true;
}

PictureSender::ReadResult PictureSender::_takeAnswer(std::vector<Held>& released) {
  // One byte more than a message, to detect longer ones.
  std::array<std::uint8_t, frames::kAnswerBytes + 1> packet{};
  const ssize_t size = recv(_socket, packet.data(), packet.size(), MSG_DONTWAIT);
  if (size < 0 && errno == EINTR) return ReadResult::Answer;
  if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return ReadResult::Nothing;
  if (size <= 0) return ReadResult::End;
  const auto answer = frames::decodeAnswer(std::span(packet).first(static_cast<std::size_t>(size)));
  if (!answer || answer->kind != frames::AnswerMessage::Kind::Release) return ReadResult::Answer;
  const auto found = _held.find(answer->sequence);
  if (found == _held.end()) return ReadResult::Answer;
  released.push_back(std::move(found->second));
  _held.erase(found);
  return ReadResult::Answer;
}

void PictureSender::_sendNewest() {
  // May hold the last references: destroyed after the lock is released.
  std::shared_ptr<const VideoFrame> newest;
  std::vector<Held> released;
  const std::lock_guard lock(_mutex);
  // Read the serial first: a picture put in meanwhile is then sent twice rather than not at all.
  const std::uint64_t serial = _frames->serial();
  newest = _frames->latest();
  if (serial != _sentSerial || _sendsAgain) {
    // The box keeps the newest picture: with one picture held there is nothing to read.
    while (_held.size() > 1 && _takeAnswer(released) == ReadResult::Answer) {
    }
    if (_send(newest)) {
      _sentSerial = serial;
      _sendsAgain = false;
    }
  }
  const bool isSent = serial == _sentSerial && !_sendsAgain;
  _awaitReleases(!isSent || (!newest && !_held.empty()));
}

void PictureSender::_awaitReleases(bool awaited) {
  if (std::exchange(_awaitsReleases, awaited) == awaited) return;
  epoll_event event{};
  if (awaited) event.events = EPOLLIN;
  epoll_ctl(_epoll, EPOLL_CTL_MOD, _socket, &event);
}

bool PictureSender::_send(const std::shared_ptr<const VideoFrame>& newest) {
  if (!newest) return _sendNone();
  return _held.size() < kMaxHeld && _sendPicture(newest);
}

bool PictureSender::_sendNone() {
  FilmMessage message;
  message.kind = FilmMessage::Kind::None;
  message.sequence = _sequence + 1;
  message.epoch = _epoch;
  // Lets the box unmap all buffers: they may never be used again.
  message.gone = ~std::uint64_t{0};
  if (!_send(message, -1)) return false;
  _sequence = message.sequence;
  _buffers.fill({});
  _newestCopy = {};
  _copies.clear();
  return true;
}

bool PictureSender::_sendPicture(const std::shared_ptr<const VideoFrame>& frame) {
  FilmMessage message = messageOf(*frame);
  const Memory memory = _memoryOf(frame, message.layout);
  if (!memory) {
    if (!std::exchange(_hasLoggedFailure, true)) {
      TVSLogError(TVSSystemLog, "No memory for a picture of %dx%d", frame->width, frame->height);
    }
    return true;
  }
  message.sequence = _sequence + 1;
  message.epoch = _epoch;
  message.index = _bufferFor(memory, message.gone);
  const Buffer& known = _buffers[message.index];
  const bool isKnown = known.bytes != 0 && haveSameOwner(known.lifetime, memory->lifetime());
  // Stored before sending, because storing may throw. A copy does not need the original.
  _held.emplace(message.sequence, Held{memory == frame->sharedMemory ? frame : nullptr, memory});
  if (!_send(message, isKnown ? -1 : memory->descriptor())) {
    _held.erase(message.sequence);
    return false;
  }
  _sequence = message.sequence;
  for (std::size_t index = 0; index < _buffers.size(); ++index)
    if ((message.gone >> index & 1U) != 0) _buffers[index] = {};
  _buffers[message.index] = {memory->lifetime(), memory->size(), message.sequence};
  return true;
}

PictureSender::Memory PictureSender::_memoryOf(const std::shared_ptr<const VideoFrame>& frame,
                                               frames::FrameLayout& layout) {
  if (frame->sharedMemory) {
    const auto shape = shapeOf(*frame);
    const auto found = shape ? layoutIn(*frame, *shape) : std::nullopt;
    if (found) {
      layout = *found;
      return frame->sharedMemory;
    }
  }
  if (!haveSameOwner(_newestCopy.of, frame) && !_copy(frame)) return nullptr;
  layout = _newestCopy.layout;
  return _newestCopy.memory;
}

bool PictureSender::_copy(const std::shared_ptr<const VideoFrame>& frame) {
  _newestCopy = {};
  const auto shape = shapeOf(*frame);
  std::size_t bytes = 0;
  const auto layout = shape ? frames::layoutFor(*shape, &bytes) : std::nullopt;
  const auto memory = layout ? _freeMemory(bytes) : nullptr;
  if (!memory) return false;
  for (std::size_t index = 0; index < shape->planeCount; ++index) {
    const VideoPlane& from = frame->planes[index];
    const std::size_t length = std::min(from.rowBytes, shape->planes[index].rowBytes);
    const std::size_t rows = std::min(from.rows, shape->planes[index].rows);
    std::uint8_t* const to = memory->data() + layout->offsets[index];
    for (std::size_t row = 0; row < rows; ++row)
      std::memcpy(to + row * layout->strides[index], from.data + row * from.stride, length);
  }
  _newestCopy = {frame, memory, *layout};
  return true;
}

std::shared_ptr<frames::SharedBuffer> PictureSender::_freeMemory(std::size_t bytes) {
  std::erase_if(_copies, [&](const auto& each) { return each->size() != bytes; });
  for (const auto& each : _copies)
    if (each.use_count() == 1) return each;
  std::shared_ptr<frames::SharedBuffer> made = frames::SharedBuffer::make(bytes);
  if (made) _copies.push_back(made);
  return made;
}

/// Returns the index of the box's buffer for `memory`. Sets the bits of buffers to be dropped in
/// `gone`.
std::uint32_t PictureSender::_bufferFor(const Memory& memory, std::uint64_t& gone) const {
  std::size_t total = memory->size();
  std::size_t place = _buffers.size();
  for (std::size_t index = 0; index < _buffers.size(); ++index) {
    const Buffer& each = _buffers[index];
    if (each.bytes == 0) continue;
    if (haveSameOwner(each.lifetime, memory->lifetime())) {
      place = index;
    } else if (each.lifetime.expired()) {
      gone |= std::uint64_t{1} << index;
    } else {
      total += each.bytes;
    }
  }
  const auto isUsed = [&](std::size_t index) {
    return _buffers[index].bytes != 0 && (gone >> index & 1U) == 0;
  };
  for (std::size_t index = 0; index < _buffers.size() && place == _buffers.size(); ++index)
    if (!isUsed(index)) place = index;
  while (place == _buffers.size() || total > frames::kFilmMemory) {
    // Drop the buffer that was used longest ago.
    std::size_t oldest = _buffers.size();
    for (std::size_t index = 0; index < _buffers.size(); ++index) {
      if (index == place || !isUsed(index)) continue;
      if (oldest == _buffers.size() || _buffers[index].lastSequence < _buffers[oldest].lastSequence)
        oldest = index;
    }
    if (oldest == _buffers.size()) break;
    gone |= std::uint64_t{1} << oldest;
    total -= _buffers[oldest].bytes;
    if (place == _buffers.size()) place = oldest;
  }
  return static_cast<std::uint32_t>(place);
}

bool PictureSender::_send(const FilmMessage& message, int descriptor) const {
  frames::FilmPacket packet = frames::encode(message);
  iovec part{packet.data(), packet.size()};
  msghdr header{};
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  if (descriptor >= 0) {
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    cmsghdr* const rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
  }
  ssize_t sent = -1;
  do {
    sent = sendmsg(_socket, &header, MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent >= 0;
}

}  // namespace media
