#pragma once

#include <optional>
#include <string>
#include <utility>

#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/Error.h"

namespace box {

/// A listening SEQPACKET socket with a file of its own in a private folder.
class ListeningSocket {
 public:
  /// The folder is made with mode 0700 when it is missing; one that is not this user's alone is an
  /// error.
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
  /// And the folder, when nothing else is in it. One thread.
  void removeFile();

 private:
  ListeningSocket() = default;

  FileDescriptor _descriptor;
  std::string _folder;
  std::string _path;
  bool _hasFile = false;
};

}  // namespace box
