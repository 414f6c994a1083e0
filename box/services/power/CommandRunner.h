#pragma once

#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

#include "box/services/support/FileDescriptor.h"
#include "box/services/support/ServiceThread.h"

namespace box {

/// Runs shell commands of the administrator one at a time.
///
/// A command that arrives while another one runs starts after it; of several waiting commands only
/// the last one runs. A command that exceeds the timeout is killed with its process group. A
/// failure is logged.
///
/// Threads: the service thread, or any thread before it has started and after it has ended. A
/// command that still runs at destruction is not killed.
class CommandRunner final : private ServiceThread::Source {
 public:
  CommandRunner(ServiceThread& thread, platform::Duration timeout)
      : _thread(thread), _timeout(timeout) {}
  CommandRunner(const CommandRunner&) = delete;
  CommandRunner& operator=(const CommandRunner&) = delete;

  /// Does nothing if `command` is empty.
  void run(const std::string& command);
  /// Calls `done` when no command runs or waits. Replaces an earlier callback.
  void callWhenIdle(std::function<void()> done);

 private:
  int descriptor() const override { return _pidfd.get(); }
  short interest() const override;
  void serve() override;
  void _start(const std::string& command);
  void _kill();
  void _notifyIdle();

  ServiceThread& _thread;
  const platform::Duration _timeout;
  pid_t _process = 0;
  std::string _command;
  /// A pidfd; readable when the process has exited.
  FileDescriptor _pidfd;
  platform::Token _source;
  platform::Token _killTimer;
  std::optional<std::string> _nextCommand;
  std::function<void()> _idleCallback;
};

}  // namespace box
