#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "box/services/support/FileDescriptor.h"

namespace box {

/// Tasks for a thread that polls descriptors. Outlives that thread for those who still post.
///
/// Threads: any, except run(), which belongs to the polling thread.
class Inbox {
 public:
  Inbox();

  /// To poll for reading. -1 when the system has no descriptors left.
  int descriptor() const { return _event.get(); }

  /// After close() the task is dropped.
  void post(std::function<void()> task);
  /// Makes the descriptor readable, with no task.
  void wake();
  /// Runs what was posted, and makes the descriptor unreadable again.
  void run();
  /// Drops the tasks, those to come too.
  void close();

 private:
  const FileDescriptor _event;
  std::mutex _mutex;
  std::vector<std::function<void()>> _tasks;  // protected by _mutex
  bool _closed = false;                       // protected by _mutex
};

}  // namespace box
