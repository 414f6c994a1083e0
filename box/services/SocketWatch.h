#pragma once

#include <functional>
#include <string>

#include "box/services/FileDescriptor.h"
#include "box/services/ServiceThread.h"

namespace box {

/// Notices that a socket file appears, or is put in place anew, without looking again and again.
///
/// Watches the file's folder; where that does not exist, the nearest one above it that does.
///
/// Threads: the service thread.
class SocketWatch final : private ServiceThread::Source {
 public:
  /// `appeared` may destroy this.
  SocketWatch(ServiceThread& thread, std::string path, std::function<void()> appeared);

  /// Whether there is a folder to watch.
  bool isWatching() const { return _watch >= 0; }

 private:
  int descriptor() const override { return _notify.get(); }
  short interest() const override;
  void serve() override;
  void _watchNearestFolder();

  const std::string _path;
  const std::function<void()> _appeared;
  const FileDescriptor _notify;
  int _watch = -1;
  /// What has to come into the watched folder: the file, or the next folder on the way to it.
  std::string _awaited;
  platform::Token _source;
};

}  // namespace box
