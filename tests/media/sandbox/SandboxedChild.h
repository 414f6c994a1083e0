#pragma once

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "media/sandbox/Sandbox.h"
#include "tests/support/TemporaryFolder.h"

/// The surroundings of the sandbox: a home folder with a film, sockets of a sound server and of
/// another service, a TCP port, and the process of the test.
class SandboxSurroundings {
 public:
  SandboxSurroundings() {
    for (const char* each : {"home", "cache", "run", "run/pulse", "run/tvvorlane", "vendor"})
      std::filesystem::create_directory(folder / each);
    for (const char* each : {"home/film.mp4", "vendor/model"})
      close(open((folder / each).c_str(), O_CREAT | O_WRONLY, 0600));
    _sound = listenAt(sound);
    _receiver = listenAt(receiverSocket);
    _tcp = socket(AF_INET, SOCK_STREAM, 0);
    tcpAddress.sin_family = AF_INET;
    tcpAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof tcpAddress;
    bind(_tcp, reinterpret_cast<sockaddr*>(&tcpAddress), size);
    listen(_tcp, 4);
    getsockname(_tcp, reinterpret_cast<sockaddr*>(&tcpAddress), &size);
  }
  ~SandboxSurroundings() {
    for (const int each : {_sound, _receiver, _tcp}) close(each);
  }

  const testing_support::TemporaryFolder folder;
  const std::string film = folder / "home/film.mp4";
  const std::string cache = folder / "cache";
  const std::string vendor = folder / "vendor";
  const std::string sound = folder / "run/pulse/native";
  const std::string receiverSocket = folder / "run/tvvorlane/receiver.sock";
  sockaddr_in tcpAddress{};

 private:
  static int listenAt(const std::string& path) {
    const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    listen(made, 4);
    return made;
  }

  int _sound = -1, _receiver = -1, _tcp = -1;
};

struct SandboxOutcome {
  media::SandboxReport report;
  /// The return value of the attempt.
  int result = -1;
};

/// Forks a child process, which enters the sandbox and runs the attempt.
inline SandboxOutcome runSandboxed(const SandboxSurroundings& surroundings,
                                   media::SandboxOptions options,
                                   const std::function<int()>& attempt) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    setenv("HOME", (surroundings.folder / "home").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (surroundings.folder / "run").c_str(), 1);
    options.cacheFolder = surroundings.cache;
    const media::SandboxReport report = media::Sandbox(options).enter();
    const int header[] = {attempt(),       report.noNewPrivileges, report.capabilities,
                          report.landlock, report.seccomp,         report.sockets,
                          report.limits};
    bool isWritten = write(ends[1], header, sizeof header) == sizeof header;
    isWritten &= write(ends[1], report.text.data(), report.text.size()) > 0;
    _exit(isWritten ? 0 : 1);
  }
  close(ends[1]);
  SandboxOutcome outcome;
  int header[7] = {};
  if (read(ends[0], header, sizeof header) == sizeof header) {
    outcome.result = header[0];
    char text[1024];
    const ssize_t size = read(ends[0], text, sizeof text);
    outcome.report = {header[1] != 0,
                      header[2] != 0,
                      header[3] != 0,
                      header[4] != 0,
                      header[5] != 0,
                      header[6] != 0,
                      std::string(text, static_cast<std::size_t>(std::max<ssize_t>(size, 0)))};
  }
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return outcome;
}
