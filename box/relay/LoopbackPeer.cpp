#include "box/relay/LoopbackPeer.h"

#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace box {
namespace {

/// As the kernel's table has it: the address as the number that lies in memory, then the port.
std::string endOf(const sockaddr_in& address) {
  char text[16];
  std::snprintf(text, sizeof text, "%08X:%04X", static_cast<unsigned>(address.sin_addr.s_addr),
                static_cast<unsigned>(ntohs(address.sin_port)));
  return text;
}

/// The inode of the socket with these ends, if it is this user's.
std::optional<unsigned long> inodeOf(const std::string& local, const std::string& remote) {
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
  const auto inode = inodeOf(endOf(peer), endOf(own));
  return inode && holds(*inode);
}

}  // namespace box
