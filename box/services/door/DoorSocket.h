#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/Error.h"

namespace box {

/// The door's listening socket and its file.
///
/// A file that nobody listens on any more is replaced; one that answers belongs to another process
/// and is left alone.
///
/// Threads: descriptor() belongs to whoever polls it; the rest to the thread that opened it.
class DoorSocket {
 public:
  static std::string defaultPath();

  ~DoorSocket() { removeFile(); }

  /// Listens at `path`. Its folder is made with mode 0700 when it is missing. False, and the error,
  /// when that is impossible.
  bool open(const std::string& path, std::optional<platform::Error>* error);
  FileDescriptor& descriptor() { return _descriptor; }
  /// Removes the file, unless somebody else has put another one there.
  void removeFile();

 private:
  FileDescriptor _descriptor;
  std::string _path;
  std::optional<dev_t> _device;
  ino_t _inode = 0;
};

}  // namespace box
