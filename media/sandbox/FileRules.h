#pragma once

#include <string>
#include <vector>

namespace media {

enum class FileAccess {
  List,       ///< read the names in folders
  Read,       ///< read files and list folders
  Device,     ///< read, write and ioctl devices
  ReadWrite,  ///< Device for all files; create, rename and remove files
};

struct FileRule {
  /// A file, or a folder with everything below it. Missing files are skipped.
  std::string path;
  FileAccess use;
};

struct FileRulesResult {
  /// The Landlock ABI version. 0: nothing is restricted, see `reason`.
  int version = 0;
  std::string reason;
};

/// Restricts the calling thread and its future threads to the rules (Landlock). As far as the
/// kernel supports it, TCP ports cannot be bound, and signals and abstract Unix sockets only reach
/// processes in the same domain.
FileRulesResult restrictFiles(const std::vector<FileRule>& rules);

}  // namespace media
