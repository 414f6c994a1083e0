#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/services/Platform.h"

/// A process that makes the box's platform and runs an application in it, as the entry does, with a
/// folder and a socket of its own and no display. What it logs is read here.
class ChildProcess {
 public:
  using MakeApplication = platform::Application (*)();

  /// Arguments beside the socket's.
  ChildProcess(MakeApplication makeApplication, std::vector<std::string> arguments);
  /// Kills it if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  const std::filesystem::path& socketPath() const { return _socketPath; }
  /// Reads until a line with `text` has come. False when the process ended first, or after 20 s.
  bool waitForLine(const std::string& text);
  void send(int signal) const;
  /// Reads until the process has ended, and returns its exit status; -1 when it did not end of its
  /// own accord within 20 s.
  int waitForEnd();
  const std::string& output() const { return _output; }

 private:
  /// False at the end, or when nothing came in time.
  bool _read();

  std::filesystem::path _folder;
  std::filesystem::path _socketPath;
  std::string _output;
  pid_t _process = -1;
  int _pipe = -1;
};
