#pragma once

#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

#include "platform/services/Platform.h"

/// A child process that runs an application with the box platform, in a folder of its own, with its
/// own socket. It has no display unless SDL_VIDEODRIVER is set. A thread reads its log, so that it
/// never blocks on a full pipe.
class ChildProcess {
 public:
  using MakeApplication = platform::Application (*)();
  using MakePlatform = decltype(&platform::makePlatform);

  /// Runs an application of the test, as main() does. `arguments` are added to the socket path.
  ChildProcess(MakeApplication makeApplication, std::vector<std::string> arguments,
               MakePlatform makePlatform = platform::makePlatform);
  /// Runs the tvvorlane program from the folder of the test. `tasks`: run it as another user with a
  /// limit on the number of tasks; requires root.
  explicit ChildProcess(std::vector<std::string> arguments, std::optional<unsigned> tasks = {});
  /// Kills the process if it is still running.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  const std::filesystem::path& socketPath() const { return _socketPath; }
  /// Waits for a line that contains `text` after the first `from` bytes of the log. Returns false
  /// if the process ends first or after 20 s.
  bool waitForLine(const std::string& text, std::size_t from = 0);
  void send(int signal) const;
  static constexpr int kStillRunning = -1000;
  /// Waits for the process to exit. Returns its exit status, the negated signal number, or
  /// kStillRunning after 20 s.
  int waitForEnd();
  std::string output() const;

 private:
  void _start(std::vector<std::string> arguments, MakeApplication makeApplication,
              MakePlatform makePlatform, std::optional<unsigned> tasks);
  void _read();

  std::filesystem::path _folder;
  std::filesystem::path _socketPath;
  pid_t _process = -1;
  int _pipe = -1;
  std::thread _reader;

  // Protected by `_mutex`.
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::string _output;
  bool _closed = false;
};
