#include "box/relay/LoopbackPeer.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include <dirent.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace box {
namespace {

/// What the kernel says of one socket, found by its ends. Its answer is there when it has the
/// question.
std::optional<inet_diag_msg> askKernel(const sockaddr_in& local, const sockaddr_in& remote) {
  const int descriptor = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (descriptor < 0) return std::nullopt;
  struct {
    nlmsghdr head{};
    inet_diag_req_v2 body{};
  } question;
  question.head.nlmsg_len = sizeof question;
  question.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.head.nlmsg_flags = NLM_F_REQUEST;
  question.body.sdiag_family = AF_INET;
  question.body.sdiag_protocol = IPPROTO_TCP;
  question.body.idiag_states = ~0u;
  inet_diag_sockid& ends = question.body.id;
  ends.idiag_sport = local.sin_port;
  ends.idiag_src[0] = local.sin_addr.s_addr;
  ends.idiag_dport = remote.sin_port;
  ends.idiag_dst[0] = remote.sin_addr.s_addr;
  ends.idiag_cookie[0] = ends.idiag_cookie[1] = ~0u;
  char bytes[4096];
  const bool sent = send(descriptor, &question, sizeof question, 0) == sizeof question;
  const ssize_t size = sent ? recv(descriptor, bytes, sizeof bytes, MSG_DONTWAIT) : -1;
  close(descriptor);
  nlmsghdr head;
  inet_diag_msg answer;
  if (size < static_cast<ssize_t>(NLMSG_LENGTH(sizeof answer))) return std::nullopt;
  std::memcpy(&head, bytes, sizeof head);
  std::memcpy(&answer, bytes + NLMSG_HDRLEN, sizeof answer);
  // Where nothing is connected so, it may find who listens there.
  if (head.nlmsg_type != SOCK_DIAG_BY_FAMILY || answer.id.idiag_sport != local.sin_port ||
      answer.id.idiag_src[0] != local.sin_addr.s_addr || answer.id.idiag_dport != remote.sin_port ||
      answer.id.idiag_dst[0] != remote.sin_addr.s_addr)
    return std::nullopt;
  return answer;
}

/// As the kernel's table has it: the address as the number that lies in memory, then the port.
std::string endOf(const sockaddr_in& address) {
  char text[16];
  std::snprintf(text, sizeof text, "%08X:%04X", static_cast<unsigned>(address.sin_addr.s_addr),
                static_cast<unsigned>(ntohs(address.sin_port)));
  return text;
}

/// The same from the table of all connections, which takes a millisecond, where the kernel answers
/// no question.
std::optional<unsigned long> inodeOfTable(const std::string& local, const std::string& remote) {
  std::ifstream table("/proc/self/net/tcp");
  std::string line;
  while (std::getline(table, line)) {
    char from[32];
    char to[32];
    unsigned uid = 0;
    unsigned long inode = 0;
    if (std::sscanf(line.c_str(), " %*[^:]: %31s %31s %*s %*s %*s %*s %u %*s %lu", from, to, &uid,
                    &inode) != 4)
      continue;
    if (local == from && remote == to && uid == geteuid() && inode != 0) return inode;
  }
  return std::nullopt;
}

/// The inode of the socket with these ends, if it is this user's.
std::optional<unsigned long> inodeOf(const sockaddr_in& local, const sockaddr_in& remote) {
  const auto known = askKernel(local, remote);
  if (!known) return inodeOfTable(endOf(local), endOf(remote));
  if (known->idiag_uid != geteuid() || known->idiag_inode == 0) return std::nullopt;
  return known->idiag_inode;
}

bool holds(unsigned long inode) {
  const std::string wanted = "socket:[" + std::to_string(inode) + "]";
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), &closedir);
  if (!folder) return false;
  while (const dirent* entry = readdir(folder.get())) {
    char target[64];
    const ssize_t size = readlinkat(dirfd(folder.get()), entry->d_name, target, sizeof target);
    if (size > 0 && wanted == std::string_view(target, static_cast<std::size_t>(size))) return true;
  }
  return false;
}

}  // namespace

bool isPeerOfThisProcess(int descriptor) {
  sockaddr_in own{};
  sockaddr_in peer{};
  socklen_t ownSize = sizeof own;
  socklen_t peerSize = sizeof peer;
  if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &ownSize) != 0 ||
      getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) != 0 ||
      own.sin_family != AF_INET || peer.sin_family != AF_INET)
    return false;
  const auto inode = inodeOf(peer, own);
  return inode && holds(*inode);
}

}  // namespace box
