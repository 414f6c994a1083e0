#include "media/sandbox/ServiceSockets.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "media/sandbox/SocketHelper.h"

namespace media {
namespace {

/// Inherited descriptors would keep the helper's copies of sockets and pipes open.
void keepOnly(int descriptor) {
  close_range(0, static_cast<unsigned>(descriptor) - 1, 0);
  close_range(static_cast<unsigned>(descriptor) + 1, ~0u, 0);
}

void resetSignals() {
  for (int signal = 1; signal < NSIG; ++signal) std::signal(signal, SIG_DFL);
}

int receiveDescriptor(int channel) {
  char byte = 0;
  iovec part{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  if (recvmsg(channel, &message, MSG_CMSG_CLOEXEC) <= 0) return -1;
  const cmsghdr* const header = CMSG_FIRSTHDR(&message);
  if (!header || header->cmsg_type != SCM_RIGHTS) return -1;
  int descriptor = -1;
  std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
  return descriptor;
}

bool sendDescriptor(int channel, int descriptor) {
  char byte = 0;
  iovec part{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  return sendmsg(channel, &message, MSG_NOSIGNAL) == 1;
}

/// Must not allocate: it runs in a fork, possibly of a process with several threads.
[[noreturn]] void runHelper(int channel, pid_t client, const std::vector<std::string>& paths) {
  keepOnly(channel);
  resetSignals();
  prctl(PR_SET_NAME, "media-sockets", 0, 0, 0);
  char isReady = 0;
  // Wait for the client's PR_SET_PTRACER.
  if (read(channel, &isReady, 1) != 1) _exit(EXIT_FAILURE);
  SocketHelper helper(client, paths);
  isReady = helper.isReady() ? 1 : 0;
  if (write(channel, &isReady, 1) != 1) _exit(EXIT_FAILURE);
  const int notifications = receiveDescriptor(channel);
  if (notifications < 0) _exit(EXIT_SUCCESS);
  close(channel);
  helper.serve(notifications);
  _exit(EXIT_SUCCESS);
}

}  // namespace

ServiceSockets::ServiceSockets(const std::vector<std::string>& paths) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return;
  const pid_t client = getpid();
  _helper = fork();
  if (_helper == 0) runHelper(ends[1], client, paths);
  close(ends[1]);
  _channel = ends[0];
  if (_helper < 0) return;
  // Needed where Yama only permits ancestors to read the memory of a process.
  prctl(PR_SET_PTRACER, _helper, 0, 0, 0);
  const char isTracerSet = 1;
  send(_channel, &isTracerSet, 1, MSG_NOSIGNAL);
}

bool ServiceSockets::isReady() const {
  char answer = 0;
  return _helper > 0 && read(_channel, &answer, 1) == 1 && answer == 1;
}

bool ServiceSockets::serve(int notifications) {
  if (!sendDescriptor(_channel, notifications)) return false;
  _helper = -1;
  return true;
}

ServiceSockets::~ServiceSockets() {
  if (_channel >= 0) close(_channel);
  if (_helper > 0) waitpid(_helper, nullptr, 0);
}

}  // namespace media
