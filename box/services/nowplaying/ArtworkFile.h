#pragma once

#include <memory>
#include <string>

#include "platform/foundation/Value.h"

namespace box {

/// A picture as a file, for those who take pictures by URL only.
///
/// Each picture has a file name of its own, so that nobody shows the one before; the file is gone
/// when the picture changes, and with this object. Files that a killed process has left go with the
/// next one's first picture.
///
/// Threads: one.
class ArtworkFile {
 public:
  /// `folder` is made, for this user alone, when it is missing.
  explicit ArtworkFile(std::string folder);
  ~ArtworkFile() { remove(); }
  ArtworkFile(const ArtworkFile&) = delete;
  ArtworkFile& operator=(const ArtworkFile&) = delete;

  /// The file's URL; empty for no picture, or where it cannot be written. `type` is a MIME type, or
  /// anything else, and then the data tell.
  const std::string& show(const std::shared_ptr<const platform::Bytes>& data,
                          const std::string& type);
  void remove();

 private:
  bool _write();
  void _removeLeftOvers() const;

  const std::string _folder;
  std::shared_ptr<const platform::Bytes> _data;
  std::string _path;
  std::string _url;
  unsigned _count = 0;
  bool _saidUnwritable = false;
};

}  // namespace box
