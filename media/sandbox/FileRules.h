#pragma once

#include <string>
#include <vector>

namespace media {

enum class FileUse {
  List,    ///< read the names in folders
  Read,    ///< read files and the names in folders
  Device,  ///< read, write and control devices
  Change,  ///< the same for all files, and make, rename and remove them
};

struct FileRule {
  /// Of a file, or of a folder with all below it. One that does not exist is left out.
  std::string path;
  FileUse use;
};

struct FileRulesResult {
  /// Of Landlock's interface; 0: nothing is restricted, and `lack` says why.
  int version = 0;
  std::string lack;
};

/// Restricts the calling thread, and those it starts from now on, to the rules. As far as the
/// kernel knows how, TCP ports can then not be bound, and neither signals nor abstract Unix sockets
/// reach processes that are not restricted in the same way.
FileRulesResult restrictFiles(const std::vector<FileRule>& rules);

}  // namespace media
