#include "media/sandbox/SocketHelper.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace media {
namespace {

/// Notifications of newer kernels may be larger than the structure known at compile time.
union Notification {
  seccomp_notif call;
  char room[1024];
};

constexpr int kSocketTypeMask = 0xf;  // other bits of the type are flags

bool setNonBlocking(int descriptor, bool isOn) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 &&
         fcntl(descriptor, F_SETFL, isOn ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) == 0;
}

}  // namespace

SocketHelper::SocketHelper(pid_t client, const std::vector<std::string>& paths)
    : _client(client), _paths(paths) {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/mem", client);
  _memory = open(path, O_RDONLY | O_CLOEXEC);
}

SocketHelper::~SocketHelper() {
  if (_memory >= 0) close(_memory);
}

void SocketHelper::serve(int notifications) {
  _notifications = notifications;
  for (;;) {
    pollfd waiting{notifications, POLLIN, 0};
    if (poll(&waiting, 1, -1) < 0 && errno != EINTR) return;
    if (waiting.revents & (POLLHUP | POLLERR | POLLNVAL)) return;
    if (!(waiting.revents & POLLIN)) continue;
    Notification received{};
    // Fails if the calling thread has ended meanwhile.
    if (ioctl(notifications, SECCOMP_IOCTL_NOTIF_RECV, &received) != 0) continue;
    const Result result = _handle(received.call);
    seccomp_notif_resp response{};
    response.id = received.call.id;
    response.error = result.error;
    response.val = result.value;
    if (result.continues) response.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    ioctl(notifications, SECCOMP_IOCTL_NOTIF_SEND, &response);
  }
}

SocketHelper::Result SocketHelper::_handle(const seccomp_notif& call) {
  if (call.data.nr == SYS_socket) return _makeSocket(call);
  if (call.data.nr == SYS_connect) return _connect(call);
  return {-EPERM};
}

SocketHelper::Result SocketHelper::_makeSocket(const seccomp_notif& call) {
  const auto type = static_cast<int>(call.data.args[1]);
  if ((type & kSocketTypeMask) != SOCK_STREAM) return {-EACCES};
  // One end of a socket pair is connected: the kernel refuses to connect it to a path.
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return {-errno};
  setNonBlocking(pair[0], (type & SOCK_NONBLOCK) != 0);
  const int target = _insert(call, pair[0], nullptr, (type & SOCK_CLOEXEC) != 0);
  const int error = errno;
  close(pair[0]);
  close(pair[1]);
  return target < 0 ? Result{-error} : Result{0, target};
}

SocketHelper::Result SocketHelper::_connect(const seccomp_notif& call) {
  sockaddr_un address{};
  const std::size_t length = call.data.args[2];
  if (length < sizeof address.sun_family) return {-EINVAL};
  const std::size_t wanted = std::min(length, sizeof address);
  if (pread(_memory, &address, wanted, static_cast<off_t>(call.data.args[1])) !=
      static_cast<ssize_t>(wanted))
    return {-EFAULT};
  // Race: the client may change the address after it was read here. That is harmless, because no
  // socket of the client can be connected to a path.
  if (address.sun_family != AF_UNIX) return {0, 0, true};
  address.sun_path[sizeof address.sun_path - 1] = 0;
  if (length > sizeof address || !_isListed(address.sun_path)) return {-EACCES};

  const int target = static_cast<int>(call.data.args[0]);
  const int connected = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (connected < 0) return {-errno};
  Result result;
  if (connect(connected, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    result.error = -errno;
  } else {
    setNonBlocking(connected, !_isBlocking(target));
    if (_insert(call, connected, &target, true) < 0) result.error = -errno;
  }
  close(connected);
  return result;
}

bool SocketHelper::_isListed(const char* path) const {
  const std::string_view wanted = path;
  if (wanted.find("/..") != std::string_view::npos) return false;
  return std::any_of(_paths.begin(), _paths.end(), [&](const std::string& listed) {
    return wanted.starts_with(listed) &&
           (wanted.size() == listed.size() || wanted[listed.size()] == '/');
  });
}

/// Returns whether the client's descriptor is in blocking mode.
bool SocketHelper::_isBlocking(int clientDescriptor) const {
  char text[256] = {};
  std::snprintf(text, sizeof text, "/proc/%d/fdinfo/%d", _client, clientDescriptor);
  const int file = open(text, O_RDONLY | O_CLOEXEC);
  if (file < 0) return true;
  const ssize_t size = read(file, text, sizeof text - 1);
  close(file);
  if (size <= 0) return true;
  text[size] = 0;
  const char* const flags = std::strstr(text, "flags:");
  return !flags || (std::strtol(flags + std::strlen("flags:"), nullptr, 8) & O_NONBLOCK) == 0;
}

/// Installs a copy of the descriptor in the client, as number `target` or as a new one. Returns the
/// number, or -1 and sets errno.
int SocketHelper::_insert(const seccomp_notif& call, int descriptor, const int* target,
                          bool closesOnExecute) const {
  seccomp_notif_addfd added{};
  added.id = call.id;
  added.srcfd = static_cast<std::uint32_t>(descriptor);
  if (target) {
    added.flags = SECCOMP_ADDFD_FLAG_SETFD;
    added.newfd = static_cast<std::uint32_t>(*target);
  }
  if (closesOnExecute) added.newfd_flags = O_CLOEXEC;
  return ioctl(_notifications, SECCOMP_IOCTL_NOTIF_ADDFD, &added);
}

}  // namespace media
