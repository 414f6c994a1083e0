#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <span>
#include <thread>
#include <vector>

#include "media/link/LinkSocket.h"

namespace media {

/// The thread that reads a link, and whatever else comes with it. It sleeps in poll() and never
/// wakes by itself.
///
/// Threads: made and destroyed by one; send() any. Destruction waits for the callback that runs, so
/// it must not happen inside one.
class LinkThread {
 public:
  /// A descriptor that is read on the same thread. Once `read` returns false it is left out.
  struct Source {
    int descriptor = -1;  ///< not owned
    std::function<bool()> read;
  };
  struct Setup {
    int descriptor = -1;  ///< a stream socket; owned from here on
    /// Called on the thread, for each message.
    std::function<void(std::span<const std::byte>)> received;
    /// Called on the thread, once, when the peer has closed its end or has broken the link.
    std::function<void(LinkSocket::State)> ended;
    std::vector<Source> sources = {};
  };

  explicit LinkThread(Setup setup);
  ~LinkThread();
  LinkThread(const LinkThread&) = delete;
  LinkThread& operator=(const LinkThread&) = delete;

  /// False: the system had no thread left, and nothing is read or told.
  bool isRunning() const { return _thread.joinable(); }
  /// Never waits. After the end it does nothing.
  void send(std::span<const std::byte> message);

 private:
  void _run();
  void _wake() const;

  const Setup _setup;
  LinkSocket _socket;
  const int _waker;  // an eventfd
  std::atomic<bool> _stopping = false;
  std::thread _thread;
};

}  // namespace media
