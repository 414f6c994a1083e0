#include "box/services/door/DoorSocket.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace box {

namespace {

constexpr int kBacklog = 64;

bool fail(std::optional<platform::Error>* error, const std::string& text) {
  if (error) {
    *error = platform::Error::status(-6700);
    (*error)->localizedDescription = text;
  }
  return false;
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// A folder that was there already is taken as it is, but for the default ones: they must be ours
/// alone.
bool makeFolder(const std::string& folder, bool mustBeOurs, std::optional<platform::Error>* error) {
  if (mkdir(folder.c_str(), 0700) < 0 && errno != EEXIST) {
    return fail(error, "The folder " + folder + " cannot be made: " + std::strerror(errno));
  }
  if (!mustBeOurs) return true;
  struct stat found {};
  if (lstat(folder.c_str(), &found) < 0 || !S_ISDIR(found.st_mode) || found.st_uid != geteuid()) {
    return fail(error, "The folder " + folder + " belongs to somebody else");
  }
  if ((found.st_mode & 077) != 0 && chmod(folder.c_str(), 0700) < 0) {
    return fail(error, "The folder " + folder + " is open to others: " + std::strerror(errno));
  }
  return true;
}

std::optional<sockaddr_un> addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return std::nullopt;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

/// Whether a process listens there. A full backlog is one that does.
bool isAnswered(const sockaddr_un& address) {
  const FileDescriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!probe) return false;
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  return connect(probe.get(), generic, sizeof address) == 0 || errno == EAGAIN;
}

}  // namespace

std::string DoorSocket::defaultPath() {
  std::string folder;
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  const std::string user = std::to_string(geteuid());
  if (runtime && *runtime == '/') {
    folder = std::string(runtime) + "/tvvorlane";
  } else if (access(("/run/user/" + user).c_str(), W_OK) == 0) {
    folder = "/run/user/" + user + "/tvvorlane";
  } else {
    folder = "/tmp/tvvorlane-" + user;
  }
  return folder + "/receiver.sock";
}

bool DoorSocket::open(const std::string& path, std::optional<platform::Error>* error) {
  const std::optional<sockaddr_un> address = addressOf(path);
  if (!address) return fail(error, "The socket path " + path + " is too long");
  if (!makeFolder(folderOf(path), path == defaultPath(), error)) return false;

  FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!descriptor) return fail(error, std::string("No socket: ") + std::strerror(errno));
  // On the socket, before it has a file: the file is never open to others.
  fchmod(descriptor.get(), 0600);
  const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
  int result = bind(descriptor.get(), generic, sizeof *address);
  if (result < 0 && errno == EADDRINUSE) {
    if (isAnswered(*address)) return fail(error, "Another process answers at " + path);
    struct stat found {};
    if (lstat(path.c_str(), &found) == 0 && !S_ISSOCK(found.st_mode)) {
      return fail(error, path + " is not a socket");
    }
    unlink(path.c_str());
    result = bind(descriptor.get(), generic, sizeof *address);
  }
  if (result < 0 || listen(descriptor.get(), kBacklog) < 0) {
    return fail(error, "The socket " + path + " cannot be opened: " + std::strerror(errno));
  }
  _descriptor = std::move(descriptor);
  _path = path;
  struct stat made {};
  if (lstat(path.c_str(), &made) == 0) {
    _device = made.st_dev;
    _inode = made.st_ino;
  }
  return true;
}

void DoorSocket::removeFile() {
  if (!_device) return;
  struct stat found {};
  if (lstat(_path.c_str(), &found) == 0 && found.st_dev == *_device && found.st_ino == _inode) {
    unlink(_path.c_str());
  }
  _device.reset();
}

}  // namespace box
