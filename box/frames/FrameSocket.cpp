#include "box/frames/FrameSocket.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "box/frames/FrameConnection.h"
#include "box/frames/ListeningSocket.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/foundation/queues/Thread.h"

namespace box {

namespace {

/// How long the listener pauses when no descriptor is available.
constexpr int kAcceptRetryMilliseconds = 1000;

bool isAuthorized(int descriptor) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         (peer.uid == geteuid() || peer.uid == 0);
}

}  // namespace

/// The reading thread.
class FrameSocket::Reader {
 public:
  Reader(ListeningSocket listener, FileDescriptor stop)
      : _listener(std::move(listener)), _stop(std::move(stop)) {}
  ~Reader() {
    close();
    if (_thread.joinable()) _thread.join();
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  [[nodiscard]] bool start() {
    return platform::startThread(_thread, [this] { _run(); });
  }

  const std::string& path() const { return _listener.path(); }
  const std::shared_ptr<media::VideoFrames>& frames() const { return _frames; }

  void close() {
    if (_stopping.exchange(true)) return;
    _listener.removeFile();
    static_cast<void>(eventfd_write(_stop.get(), 1));
  }

 private:
  void _run() {
    while (!_stopping) {
      std::array<pollfd, 3> inputs{{{_stop.get(), POLLIN, 0},
                                    {_acceptPaused ? -1 : _listener.descriptor(), POLLIN, 0},
                                    {_writer ? _writer->descriptor() : -1, POLLIN, 0}}};
      const int ready = poll(inputs.data(), inputs.size(),
                             std::exchange(_acceptPaused, false) ? kAcceptRetryMilliseconds : -1);
      if (ready < 0 && errno != EINTR) break;
      if (_stopping || ready <= 0) continue;
      // Read before accepting, so that a writer that has disconnected makes room for the next one.
      if (inputs[2].revents != 0) _read();
      if (inputs[1].revents != 0) _accept();
    }
    _writer.reset();
  }

  void _accept() {
    FileDescriptor socket(accept4(_listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!socket) {
      _acceptPaused = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
      return;
    }
    if (!isAuthorized(socket.get())) {
      TVSLogWarning(TVSSystemLog, "Layer %@: rejected a process of another user", path());
    } else if (_writer) {
      if (!std::exchange(_loggedSecondWriter, true)) {
        TVSLogWarning(TVSSystemLog, "Layer %@: rejected a second writer", path());
      }
      FrameConnection::rejectBusy(std::move(socket));
    } else {
      _loggedSecondWriter = false;
      _writer = std::make_unique<FrameConnection>(std::move(socket), _frames);
    }
  }

  void _read() {
    switch (_writer->read()) {
      case FrameConnection::State::Open:
        return;
      case FrameConnection::State::ClosedByWriter:
        break;
      case FrameConnection::State::Broken:
        TVSLogError(TVSSystemLog, "Layer %@: closed the connection: %@", path(), _writer->reason());
        break;
    }
    _writer.reset();
    if (!_stopping) _frames->close();
  }

  ListeningSocket _listener;
  const FileDescriptor _stop;  // an eventfd; readable when the thread must end
  const std::shared_ptr<media::VideoFrames> _frames = std::make_shared<media::VideoFrames>();
  std::atomic<bool> _stopping = false;

  // Reading thread only.
  std::unique_ptr<FrameConnection> _writer;
  bool _loggedSecondWriter = false;
  bool _acceptPaused = false;

  std::thread _thread;
};

std::shared_ptr<FrameSocket> FrameSocket::open(const std::string& folder,
                                               std::optional<platform::Error>* error) {
  auto listener = ListeningSocket::open(folder, error);
  if (!listener) return nullptr;
  const auto fail = [&](const char* reason) {
    if (!error) return;
    *error = platform::Error::status(-6700);
    (*error)->localizedDescription = reason;
  };
  FileDescriptor stop(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!stop) {
    fail(std::strerror(errno));
    return nullptr;
  }
  auto reader = std::make_unique<Reader>(std::move(*listener), std::move(stop));
  if (!reader->start()) {
    fail("the reading thread cannot be started");
    return nullptr;
  }
  return std::shared_ptr<FrameSocket>(new FrameSocket(std::move(reader)));
}

FrameSocket::FrameSocket(std::unique_ptr<Reader> reader) : _reader(std::move(reader)) {}

FrameSocket::~FrameSocket() = default;

std::string FrameSocket::path() const { return _reader->path(); }

void FrameSocket::close() { _reader->close(); }

const std::shared_ptr<media::VideoFrames>& FrameSocket::frames() const { return _reader->frames(); }

}  // namespace box
