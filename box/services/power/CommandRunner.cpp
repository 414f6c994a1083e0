#include "box/services/power/CommandRunner.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {

/// A group of its own, with the signals as a program expects them and nothing to read.
int spawnShell(const std::string& command, pid_t* process) {
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  // Standard output is not ours to write to.
  posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
  // Libraries open files that are not to be passed on, and do not say so.
  posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
  std::string shell = "sh";
  std::string option = "-c";
  std::string text = command;
  char* const arguments[] = {shell.data(), option.data(), text.data(), nullptr};
  const int result = posix_spawn(process, "/bin/sh", &files, &attributes, arguments, environ);
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  return result;
}

}  // namespace

short CommandRunner::interest() const { return POLLIN; }

void CommandRunner::run(const std::string& command) {
  if (command.empty()) return;
  if (_process != 0) {
    _next = command;
  } else {
    _start(command);
  }
}

void CommandRunner::whenDone(std::function<void()> done) {
  _done = std::move(done);
  if (_process == 0) _tellDone();
}

void CommandRunner::_tellDone() {
  if (const auto done = std::exchange(_done, nullptr)) done();
}

void CommandRunner::_start(const std::string& command) {
  _command = command;
  if (const int reason = spawnShell(command, &_process); reason != 0) {
    _process = 0;
    TVSLogNotice(TVSSystemLog, "The command \"%@\" cannot be run: %@", command,
                 std::strerror(reason));
    return;
  }
  _end = FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, _process, 0)));
  _source = _thread.add(*this);
  _killer = _thread.after(_limit, [this] { _kill(); });
}

void CommandRunner::_kill() {
  TVSLogNotice(TVSSystemLog, "The command \"%@\" takes too long and is ended", _command);
  kill(-_process, SIGKILL);
}

void CommandRunner::serve() {
  int status = 0;
  if (waitpid(_process, &status, WNOHANG) == 0) return;
  _source.reset();
  _killer.reset();
  _end.reset();
  _process = 0;
  if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
    TVSLogNotice(TVSSystemLog, "The command \"%@\" ends with status %d", _command,
                 WEXITSTATUS(status));
  }
  if (const auto next = std::exchange(_next, std::nullopt)) _start(*next);
  if (_process == 0) _tellDone();
}

}  // namespace box
