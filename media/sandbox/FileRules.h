#pragma once

#include <string>
#include <vector>

namespace media {

enum class FileUse {
  List,    ///< read the names in folders
  Read,    ///< read files and list folders
  Device,  ///< read, write and ioctl devices
  Change,  ///< Device for all files; create, rename and remove files
};

struct FileRule {
  /// A file, or a folder with everything below it. Missing files are skipped.
  std::string path;
  FileUse use;
};

struct FileRulesResult {
  /// The Landlock ABI version. 0: nothing is restricted; the reason is in `lack`.
  int version = 0;
  std::string lack;
};

/// Restricts the calling thread and its future threads to the rules (Landlock). As far as the
/// kernel supports it, TCP ports cannot be bound, and signals and abstract Unix sockets only reach
/// processes in the same domain.
FileRulesResult restrictFiles(const std::vector<FileRule>& rules);

}  // namespace media
