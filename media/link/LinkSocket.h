#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

namespace media {

/// One end of a stream socket that carries messages, each behind its length (32 bits,
/// little-endian).
///
/// Nothing here waits. What the peer does not read at once is queued, and flush() goes on with it
/// when poll() tells that the socket takes more; a peer that leaves more than kQueueLimit unread
/// has broken the link.
///
/// Threads: send() any; read() and flush() one. Lifetime: owns the descriptor.
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

  /// True when something was queued, so that whoever polls has to wait for writing too.
  bool send(std::span<const std::byte> message);
  bool hasQueued() const;
  State flush();

  /// Hands on the messages that have come, some at a time. Closed: the peer has closed its end;
  /// Broken: an error, or a message above the limit.
  State read(const std::function<void(std::span<const std::byte>)>& received);

  /// Both ends see the link as closed. Any thread.
  void cut();

 private:
  State _flush();

  const int _descriptor;
  mutable std::mutex _mutex;
  std::deque<std::vector<std::byte>> _queue;
  std::size_t _queued = 0;
  std::size_t _sent = 0;  // of the first in the queue
  bool _broken = false;
  // Reading thread only.
  std::vector<std::byte> _received;
  std::size_t _begin = 0;  // of what was not handed on
};

}  // namespace media
