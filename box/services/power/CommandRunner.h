#pragma once

#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

#include "box/services/support/FileDescriptor.h"
#include "box/services/support/ServiceThread.h"

namespace box {

/// Runs commands that the administrator has named, by the shell, one at a time.
///
/// Nobody waits for one. A command that comes while another runs follows it; of several the last
/// one does, and the others never run. One that takes longer than the limit is killed, with what it
/// has started. A failure is one line.
///
/// Threads: the service thread, or while that does not run. A command under way at the end is left
/// to itself.
class CommandRunner final : private ServiceThread::Source {
 public:
  CommandRunner(ServiceThread& thread, platform::Duration limit) : _thread(thread), _limit(limit) {}
  CommandRunner(const CommandRunner&) = delete;
  CommandRunner& operator=(const CommandRunner&) = delete;

  /// An empty command is none.
  void run(const std::string& command);
  /// Calls `done` once none runs and none waits, instead of whoever asked before.
  void whenDone(std::function<void()> done);

 private:
  int descriptor() const override { return _end.get(); }
  short interest() const override;
  void serve() override;
  void _start(const std::string& command);
  void _kill();
  void _tellDone();

  ServiceThread& _thread;
  const platform::Duration _limit;
  pid_t _process = 0;
  std::string _command;
  /// Readable once the process has ended.
  FileDescriptor _end;
  platform::Token _source;
  platform::Token _killer;
  std::optional<std::string> _next;
  std::function<void()> _done;
};

}  // namespace box
