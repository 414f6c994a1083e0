#pragma once

#include <string>

#include "box/services/support/FileDescriptor.h"

namespace box {

/// Notices that a file appears, such as a socket, or is put in place anew, by inotify(7). Watches
/// the file's folder; where that does not exist, the nearest one above it that does.
///
/// Threads: one at a time.
class FileAppearance {
 public:
  explicit FileAppearance(std::string path);

  /// Whether there is a folder to watch.
  bool isWatching() const { return _watch >= 0; }
  /// Readable when take() is to be called; -1 where the system gives none.
  int descriptor() const { return _notify.get(); }
  /// True when the file has come, or a folder on the way to it, below which it may be.
  bool take();

 private:
  void _watchNearestFolder();

  const std::string _path;
  const FileDescriptor _notify;
  int _watch = -1;
  /// What has to come into the watched folder: the file, or the next folder on the way to it.
  std::string _awaited;
};

}  // namespace box
