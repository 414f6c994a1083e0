#include "box/services/dbus/DBusServerSocket.h"

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

/// Creates the folder, or uses the existing one. The default folder must belong to this user, and
/// other users must have no access to it.
bool createFolder(const std::string& folder, bool mustBeOurs,
                  std::optional<platform::Error>* error) {
  if (mkdir(folder.c_str(), 0700) < 0 && errno != EEXIST) {
    return fail(error, "Cannot create the folder " + folder + ": " + std::strerror(errno));
  }
  if (!mustBeOurs) return true;
  struct stat found {};
  if (lstat(folder.c_str(), &found) < 0 || !S_ISDIR(found.st_mode) || found.st_uid != geteuid()) {
    return fail(error, "The folder " + folder + " belongs to another user");
  }
  if ((found.st_mode & 077) != 0 && chmod(folder.c_str(), 0700) < 0) {
    return fail(error,
                "Cannot restrict access to the folder " + folder + ": " + std::strerror(errno));
  }
  return true;
}

std::optional<sockaddr_un> socketAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return std::nullopt;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

/// Whether a process listens at `address`. EAGAIN means that its backlog is full.
bool isListening(const sockaddr_un& address) {
  const FileDescriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!probe) return false;
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  return connect(probe.get(), generic, sizeof address) == 0 || errno == EAGAIN;
}

}  // namespace

std::string DBusServerSocket::defaultPath() {
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

bool DBusServerSocket::open(const std::string& path, std::optional<platform::Error>* error) {
  const std::optional<sockaddr_un> address = socketAddress(path);
  if (!address) return fail(error, "The socket path " + path + " is too long");
  if (!createFolder(folderOf(path), path == defaultPath(), error)) return false;

  FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!descriptor)
    return fail(error, std::string("Cannot create a socket: ") + std::strerror(errno));
  // Before bind() creates the file, so that other users never have access.
  fchmod(descriptor.get(), 0600);
  const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
  int result = bind(descriptor.get(), generic, sizeof *address);
  if (result < 0 && errno == EADDRINUSE) {
    if (isListening(*address)) return fail(error, "Another process listens on " + path);
    struct stat found {};
    if (lstat(path.c_str(), &found) == 0 && !S_ISSOCK(found.st_mode)) {
      return fail(error, path + " is not a socket");
    }
    unlink(path.c_str());
    result = bind(descriptor.get(), generic, sizeof *address);
  }
  if (result < 0 || listen(descriptor.get(), kBacklog) < 0) {
    return fail(error, "Cannot listen on " + path + ": " + std::strerror(errno));
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

void DBusServerSocket::removeFile() {
  if (!_device) return;
  struct stat found {};
  if (lstat(_path.c_str(), &found) == 0 && found.st_dev == *_device && found.st_ino == _inode) {
    unlink(_path.c_str());
  }
  _device.reset();
}

}  // namespace box
