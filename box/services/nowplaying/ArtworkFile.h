#pragma once

#include <memory>
#include <string>

#include "platform/foundation/Bytes.h"

namespace box {

/// Writes artwork to a file, for MPRIS clients, which take pictures by URL only.
///
/// Each picture has a unique file name, because clients cache by URL. The file is removed when the
/// picture changes and in the destructor. The first picture also removes files of killed processes.
///
/// Threads: not thread-safe.
class ArtworkFile {
 public:
  /// `folder` is created with mode 0700 if it does not exist.
  explicit ArtworkFile(std::string folder);
  ~ArtworkFile() { remove(); }
  ArtworkFile(const ArtworkFile&) = delete;
  ArtworkFile& operator=(const ArtworkFile&) = delete;

  /// Writes the file and returns its URL; empty without a picture or on failure. `type` is a MIME
  /// type; if it is not a known one, the file type is detected from the data.
  const std::string& show(const std::shared_ptr<const platform::Bytes>& data,
                          const std::string& type);
  void remove();

 private:
  bool _write();
  void _removeStaleFiles() const;

  const std::string _folder;
  std::shared_ptr<const platform::Bytes> _data;
  std::string _path;
  std::string _url;
  unsigned _count = 0;
  bool _loggedFailure = false;
};

}  // namespace box
