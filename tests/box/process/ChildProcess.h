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

/// A process that runs an application on the box's platform, with a folder and a socket of its own
/// and no display. What it logs is read here, as it comes, so that it never waits for its reader.
class ChildProcess {
 public:
  using MakeApplication = platform::Application (*)();
  using MakePlatform = decltype(&platform::makePlatform);

  /// One that does as the entry does with an application of the test's. Arguments beside the
  /// socket's.
  ChildProcess(MakeApplication makeApplication, std::vector<std::string> arguments,
               MakePlatform makePlatform = platform::makePlatform);
  /// The program itself, which was built beside the test. `tasks`: it runs as another user, whose
  /// processes may have so many threads together; only root can start it so.
  explicit ChildProcess(std::vector<std::string> arguments, std::optional<unsigned> tasks = {});
  /// Kills it if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  const std::filesystem::path& socketPath() const { return _socketPath; }
  /// Waits until a line with `text` has come, in what follows the first `from` bytes. False when
  /// the process ended first, or after 20 s.
  bool waitForLine(const std::string& text, std::size_t from = 0);
  void send(int signal) const;
  static constexpr int kStillRunning = -1000;
  /// Waits until the process has ended, and returns its exit status, or the negative number of the
  /// signal that ended it; kStillRunning when it did not end within 20 s.
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
