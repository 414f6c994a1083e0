#include "box/frames/ListeningSocket.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace box {

namespace {

constexpr int kBacklog = 4;

/// Socket names are not reused in a process, so that a late writer cannot connect to a newer layer.
std::atomic<std::uint64_t> lastSocketNumber = 0;

std::nullopt_t fail(std::optional<platform::Error>* error, const std::string& text) {
  if (error) {
    *error = platform::Error::status(-6700);
    (*error)->localizedDescription = text;
  }
  return std::nullopt;
}

}  // namespace

std::optional<ListeningSocket> ListeningSocket::open(const std::string& folder,
                                                     std::optional<platform::Error>* error) {
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    return fail(error, "Cannot create the folder " + folder + ": " + std::strerror(errno));
  }
  struct stat found {};
  if (lstat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode) || found.st_uid != geteuid() ||
      (found.st_mode & 077) != 0) {
    return fail(error, "Other users have access to the folder " + folder);
  }
  ListeningSocket made;
  made._folder = folder;
  made._path = folder + "/" + std::to_string(getpid()) + "-" + std::to_string(++lastSocketNumber);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (made._path.size() >= sizeof address.sun_path) {
    return fail(error, "The socket path " + made._path + " is too long");
  }
  std::memcpy(address.sun_path, made._path.c_str(), made._path.size() + 1);
  made._descriptor =
      FileDescriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!made._descriptor)
    return fail(error, std::string("Cannot create a socket: ") + std::strerror(errno));
  // Before bind() creates the file, so that other users never have access.
  fchmod(made._descriptor.get(), 0600);
  // Remove the file of a killed process that had the same id.
  unlink(made._path.c_str());
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  if (bind(made._descriptor.get(), generic, sizeof address) != 0) {
    return fail(error, "Cannot bind " + made._path + ": " + std::strerror(errno));
  }
  made._hasFile = true;
  if (listen(made._descriptor.get(), kBacklog) != 0) {
    return fail(error, "Cannot listen on " + made._path + ": " + std::strerror(errno));
  }
  return made;
}

void ListeningSocket::removeFile() {
  if (!std::exchange(_hasFile, false)) return;
  unlink(_path.c_str());
  // Fails while the folder contains sockets of other layers.
  rmdir(_folder.c_str());
}

}  // namespace box
