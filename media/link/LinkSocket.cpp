#include "media/link/LinkSocket.h"

#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace media {
namespace {

constexpr std::size_t kHeaderBytes = 4;
constexpr std::size_t kReadBytes = std::size_t{64} * 1024;
constexpr int kReadsAtATime = 16;

std::size_t lengthIn(std::span<const std::byte> header) {
  std::size_t length = 0;
  for (std::size_t byte = kHeaderBytes; byte-- > 0;)
    length = length << 8 | static_cast<std::size_t>(header[byte]);
  return length;
}

std::vector<std::byte> framed(std::span<const std::byte> message) {
  std::vector<std::byte> bytes;
  bytes.reserve(kHeaderBytes + message.size());
  for (std::size_t byte = 0; byte < kHeaderBytes; ++byte)
    bytes.push_back(static_cast<std::byte>(message.size() >> (8 * byte) & 0xff));
  bytes.insert(bytes.end(), message.begin(), message.end());
  return bytes;
}

bool isTemporary(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

LinkSocket::LinkSocket(int descriptor) : _descriptor(descriptor) {
  fcntl(_descriptor, F_SETFL, fcntl(_descriptor, F_GETFL) | O_NONBLOCK);
}

LinkSocket::~LinkSocket() { close(_descriptor); }

bool LinkSocket::send(std::span<const std::byte> message) {
  const std::lock_guard lock(_mutex);
  if (_broken) return false;
  if (message.size() > kMessageLimit || _queued + message.size() > kQueueLimit) {
    _broken = true;
    ::shutdown(_descriptor, SHUT_RDWR);
    return false;
  }
  _queue.push_back(framed(message));
  _queued += _queue.back().size();
  _flush();
  return !_queue.empty();
}

bool LinkSocket::hasQueued() const {
  const std::lock_guard lock(_mutex);
  return !_queue.empty() && !_broken;
}

std::size_t LinkSocket::queuedBytes() const {
  const std::lock_guard lock(_mutex);
  return _queued;
}

LinkSocket::State LinkSocket::flush() {
  const std::lock_guard lock(_mutex);
  return _flush();
}

LinkSocket::State LinkSocket::_flush() {
  while (!_queue.empty() && !_broken) {
    const std::vector<std::byte>& first = _queue.front();
    const ssize_t written = ::send(_descriptor, first.data() + _sent, first.size() - _sent,
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written < 0) {
      if (isTemporary(errno)) break;
      _broken = true;
      break;
    }
    _sent += static_cast<std::size_t>(written);
    if (_sent < first.size()) continue;
    _queued -= first.size();
    _queue.pop_front();
    _sent = 0;
  }
  return _broken ? State::Broken : State::Open;
}

LinkSocket::State LinkSocket::read(
    const std::function<void(std::span<const std::byte>)>& received) {
  std::array<std::byte, kReadBytes> chunk;
  for (int count = 0; count < kReadsAtATime; ++count) {
    const ssize_t got = recv(_descriptor, chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (got == 0) return State::Closed;
    if (got < 0) return isTemporary(errno) ? State::Open : State::Broken;
    _received.insert(_received.end(), chunk.begin(), chunk.begin() + got);
    while (_received.size() - _begin >= kHeaderBytes) {
      const auto rest = std::span<const std::byte>(_received).subspan(_begin);
      const std::size_t length = lengthIn(rest);
      if (length > kMessageLimit) return State::Broken;
      if (rest.size() - kHeaderBytes < length) break;
      received(rest.subspan(kHeaderBytes, length));
      _begin += kHeaderBytes + length;
    }
    _received.erase(_received.begin(),
                    _received.begin() + static_cast<std::ptrdiff_t>(std::exchange(_begin, 0)));
    if (_received.empty() && _received.capacity() > kReadBytes) _received.shrink_to_fit();
  }
  return State::Open;
}

void LinkSocket::cut() const { ::shutdown(_descriptor, SHUT_RDWR); }

}  // namespace media
