#pragma once

#include <string>

#include "box/services/support/FileDescriptor.h"

namespace box {

/// Detects with inotify(7) that a file, such as a socket, is created or replaced. Watches the
/// folder of the file, or its nearest existing ancestor. Threads: not thread-safe.
class FileWatch {
 public:
  explicit FileWatch(std::string path);

  bool isWatching() const { return _watch >= 0; }
  /// Readable when take() must be called; -1 if no descriptor was available.
  int descriptor() const { return _notify.get(); }
  /// Reads pending events. Returns true if the file may have appeared, which includes the creation
  /// of a parent folder.
  bool take();

 private:
  void _watchNearestFolder();

  const std::string _path;
  const FileDescriptor _notify;
  int _watch = -1;
  /// The name to appear in the watched folder: the file or its next parent folder.
  std::string _awaited;
};

}  // namespace box
