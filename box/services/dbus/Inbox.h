#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "box/services/support/FileDescriptor.h"

namespace box {

/// A task queue of a thread that polls file descriptors. Posting threads may still use it after
/// that thread has ended. Threads: any; run() belongs to the polling thread.
class Inbox {
 public:
  Inbox();

  /// The descriptor to poll for reading. -1 if no descriptor was available.
  int descriptor() const { return _event.get(); }

  /// Queues a task. After close() the task is dropped.
  void post(std::function<void()> task);
  /// Makes the descriptor readable without a task.
  void wake();
  /// Runs the queued tasks, after making the descriptor unreadable.
  void run();
  void close();

 private:
  const FileDescriptor _event;
  std::mutex _mutex;
  std::vector<std::function<void()>> _tasks;  // protected by _mutex
  bool _closed = false;                       // protected by _mutex
};

}  // namespace box
