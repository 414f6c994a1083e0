#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace testing_support {

/// A new folder in the folder for temporary files, with mode 0700. The destructor removes it and
/// its contents.
class TemporaryFolder {
 public:
  TemporaryFolder() : _path(std::filesystem::temp_directory_path() / "vorlane-test-XXXXXX") {
    if (!mkdtemp(_path.data())) throw std::runtime_error("cannot make " + _path);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return _path; }
  /// The path of `name` in this folder.
  std::string operator/(const std::string& name) const { return _path + "/" + name; }

 private:
  std::string _path;
};

}  // namespace testing_support
