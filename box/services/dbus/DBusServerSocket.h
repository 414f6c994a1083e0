#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/Error.h"

namespace box {

/// The listening socket of the D-Bus server, and its file.
///
/// A stale socket file is replaced. A file on which another process listens is not touched.
///
/// Threads: descriptor() belongs to the polling thread, the other functions to the thread that
/// called open().
class DBusServerSocket {
 public:
  static std::string defaultPath();

  ~DBusServerSocket() { removeFile(); }

  /// Listens at `path`. Creates the folder with mode 0700 if it does not exist. Returns false and
  /// sets `error` on failure.
  bool open(const std::string& path, std::optional<platform::Error>* error);
  FileDescriptor& descriptor() { return _descriptor; }
  /// Removes the file, unless another process has replaced it.
  void removeFile();

 private:
  FileDescriptor _descriptor;
  std::string _path;
  std::optional<dev_t> _device;
  ino_t _inode = 0;
};

}  // namespace box
