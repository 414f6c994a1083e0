#pragma once

#include <optional>
#include <string>
#include <utility>

#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/Error.h"

namespace box {

/// A listening SEQPACKET socket in a private folder.
class ListeningSocket {
 public:
  /// Creates the folder with mode 0700 if it does not exist. Fails if other users have access to
  /// it.
  static std::optional<ListeningSocket> open(const std::string& folder,
                                             std::optional<platform::Error>* error);
  ListeningSocket(ListeningSocket&& other) noexcept
      : _descriptor(std::move(other._descriptor)),
        _folder(std::move(other._folder)),
        _path(std::exchange(other._path, {})),
        _hasFile(std::exchange(other._hasFile, false)) {}
  ListeningSocket& operator=(ListeningSocket&&) = delete;
  ~ListeningSocket() { removeFile(); }

  int descriptor() const { return _descriptor.get(); }
  const std::string& path() const { return _path; }
  /// Removes the file, and the folder if it is empty. Not thread-safe.
  void removeFile();

 private:
  ListeningSocket() = default;

  FileDescriptor _descriptor;
  std::string _folder;
  std::string _path;
  bool _hasFile = false;
};

}  // namespace box
