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

/// Starts the shell in its own process group with default signal handling and stdin from /dev/null.
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
  // Send the output of the command to stderr, where the log goes.
  posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
  // Libraries open descriptors without close-on-exec.
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
    _nextCommand = command;
  } else {
    _start(command);
  }
}

void CommandRunner::callWhenIdle(std::function<void()> done) {
  _idleCallback = std::move(done);
  if (_process == 0) _notifyIdle();
}

void CommandRunner::_notifyIdle() {
  if (const auto done = std::exchange(_idleCallback, nullptr)) done();
}

void CommandRunner::_start(const std::string& command) {
  _command = command;
  if (const int reason = spawnShell(command, &_process); reason != 0) {
    _process = 0;
    TVSLogNotice(TVSSystemLog, "Cannot run the command \"%@\": %@", command, std::strerror(reason));
    return;
  }
  _pidfd = FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, _process, 0)));
  _source = _thread.add(*this);
  _killTimer = _thread.after(_timeout, [this] { _kill(); });
}

void CommandRunner::_kill() {
  TVSLogNotice(TVSSystemLog, "The command \"%@\" timed out and is killed", _command);
  kill(-_process, SIGKILL);
}

void CommandRunner::serve() {
  int status = 0;
  if (waitpid(_process, &status, WNOHANG) == 0) return;
  _source.reset();
  _killTimer.reset();
  _pidfd.reset();
  _process = 0;
  if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
    TVSLogNotice(TVSSystemLog, "The command \"%@\" exited with status %d", _command,
                 WEXITSTATUS(status));
  }
  if (const auto next = std::exchange(_nextCommand, std::nullopt)) _start(*next);
  if (_process == 0) _notifyIdle();
}

}  // namespace box
