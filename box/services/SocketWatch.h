#pragma once

#include <functional>
#include <string>

#include "box/services/FileAppearance.h"
#include "box/services/ServiceThread.h"

namespace box {

/// Notices that a socket file appears, or is put in place anew, without looking again and again.
///
/// Threads: the service thread.
class SocketWatch final : private ServiceThread::Source {
 public:
  /// `appeared` may destroy this.
  SocketWatch(ServiceThread& thread, std::string path, std::function<void()> appeared);

  /// Whether there is a folder to watch.
  bool isWatching() const { return _appearance.isWatching(); }

 private:
  int descriptor() const override { return _appearance.descriptor(); }
  short interest() const override;
  void serve() override;

  FileAppearance _appearance;
  const std::function<void()> _appeared;
  platform::Token _source;
};

}  // namespace box
