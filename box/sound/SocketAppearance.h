#pragma once

#include <string>
#include <vector>

namespace box {

/// Notices that one of some files appears, whose folders need not exist yet, by inotify(7): its
/// descriptor becomes readable when it is worth looking.
///
/// Threads: one at a time.
class SocketAppearance {
 public:
  explicit SocketAppearance(std::vector<std::string> paths);
  ~SocketAppearance();
  SocketAppearance(const SocketAppearance&) = delete;
  SocketAppearance& operator=(const SocketAppearance&) = delete;

  /// For poll(2); negative where the system gives none.
  int descriptor() const { return _descriptor; }
  /// Takes what has come, and watches folders that have appeared. True when one of the files is
  /// there.
  bool look();

 private:
  void _watchFolders() const;

  const std::vector<std::string> _paths;
  const int _descriptor;
};

}  // namespace box
