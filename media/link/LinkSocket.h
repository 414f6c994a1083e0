#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

namespace media {

/// One end of a stream socket that carries messages. A message is preceded by its length (32 bits,
/// little-endian).
///
/// Nothing blocks. Bytes that cannot be sent at once are queued; call flush() when poll() reports
/// POLLOUT. If the queue exceeds kQueueLimit, the link is broken.
///
/// Owns the descriptor.
/// Threads: send() any; read() and flush() one.
class LinkSocket {
 public:
  static constexpr std::size_t kMessageLimit = std::size_t{32} << 20;
  static constexpr std::size_t kQueueLimit = std::size_t{64} << 20;
  enum class State { Open, Closed, Broken };

  explicit LinkSocket(int descriptor);
  ~LinkSocket();
  LinkSocket(const LinkSocket&) = delete;
  LinkSocket& operator=(const LinkSocket&) = delete;

  int descriptor() const { return _descriptor; }

  /// Returns true if bytes are queued, so that the reading thread has to poll for POLLOUT.
  bool send(std::span<const std::byte> message);
  bool hasQueued() const;
  std::size_t queuedBytes() const;
  State flush();

  /// Calls `received` for each complete message; reads a limited number of bytes. Closed: the peer
  /// has closed its end. Broken: an error, or a message above kMessageLimit.
  State read(const std::function<void(std::span<const std::byte>)>& received);

  /// Shuts the connection down for both ends. Threads: any.
  void cut() const;

 private:
  State _flush();

  const int _descriptor;
  mutable std::mutex _mutex;
  std::deque<std::vector<std::byte>> _queue;
  std::size_t _queued = 0;
  std::size_t _sent = 0;  // bytes sent of the first message in the queue
  bool _broken = false;
  // Reading thread only.
  std::vector<std::byte> _received;
  std::size_t _begin = 0;  // offset of the first message that is not delivered
};

}  // namespace media
