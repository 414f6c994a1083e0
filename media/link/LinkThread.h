#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <thread>
#include <vector>

#include "media/link/LinkSocket.h"

namespace media {

/// A thread that reads a link and other descriptors. It sleeps in poll() without a time-out.
///
/// Threads: created and destroyed on one thread; send() any. The destructor waits for a running
/// callback, so it must not be called in one.
class LinkThread {
 public:
  /// A descriptor that the thread also polls, until `read` returns false.
  struct Source {
    int descriptor = -1;  ///< not owned
    std::function<bool()> read;
  };
  struct Setup {
    int descriptor = -1;  ///< a stream socket; LinkThread takes ownership
    /// Called on the thread for each message.
    std::function<void(std::span<const std::byte>)> received;
    /// Called on the thread, once, when the link is closed or broken.
    std::function<void(LinkSocket::State)> ended;
    std::vector<Source> sources = {};
  };

  explicit LinkThread(Setup setup);
  ~LinkThread();
  LinkThread(const LinkThread&) = delete;
  LinkThread& operator=(const LinkThread&) = delete;

  /// Returns false if no thread could be started. Then nothing is read or reported.
  bool isRunning() const { return _thread.joinable(); }
  /// Does not block. Does nothing after the end of the link.
  void send(std::span<const std::byte> message);
  /// Returns the bytes that the peer has not taken yet. Threads: any.
  std::size_t queuedBytes() const { return _socket.queuedBytes(); }

 private:
  void _run();
  void _wake() const;

  const Setup _setup;
  LinkSocket _socket;
  const int _wakeupEvent;  // an eventfd
  std::atomic<bool> _stopping = false;
  std::thread _thread;
};

}  // namespace media
