#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"

class ChildOfTest {
 public:
  explicit ChildOfTest(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    EXPECT_EQ(posix_spawnp(&_process, pointers[0], nullptr, nullptr, pointers.data(), environ), 0);
  }
  ~ChildOfTest() { end(SIGKILL); }
  ChildOfTest(const ChildOfTest&) = delete;
  ChildOfTest& operator=(const ChildOfTest&) = delete;
  void end(int signal) {
    if (_process <= 0) return;
    ::kill(_process, signal);
    waitpid(std::exchange(_process, -1), nullptr, 0);
  }

 private:
  pid_t _process = -1;
};

/// A private sound server, selected by environment variables, with two null sinks: "tv", and
/// "speaker", which is a Vorlane speaker.
class SoundServerProcess {
 public:
  SoundServerProcess() {
    setenv("PULSE_SERVER", ("unix:" + _socket().string()).c_str(), 1);
    setenv("PULSE_COOKIE", (_folder / "cookie").c_str(), 1);
    setenv("PULSE_STATE_PATH", _folder.c_str(), 1);
    // Otherwise the client library creates one below /tmp and leaves it there.
    setenv("PULSE_RUNTIME_PATH", (_folder / "pulse").c_str(), 1);
  }
  ~SoundServerProcess() {
    for (const char* name :
         {"PULSE_SERVER", "PULSE_COOKIE", "PULSE_STATE_PATH", "PULSE_RUNTIME_PATH"})
      unsetenv(name);
    _process.reset();
  }
  SoundServerProcess(const SoundServerProcess&) = delete;
  SoundServerProcess& operator=(const SoundServerProcess&) = delete;

  void start() {
    std::filesystem::create_directory(_socket().parent_path());
    _process.emplace(std::vector<std::string>{
        "pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
        "--log-level=error", "--disable-shm=yes", "-L",
        "module-native-protocol-unix auth-anonymous=1 socket=" + _socket().string(), "-L",
        "module-null-sink sink_name=tv", "-L",
        "module-null-sink sink_name=speaker sink_properties=vorlane.device-type=3"});
  }
  void kill() { _process.reset(); }
  /// Returns the output of pactl.
  static std::string control(const std::string& arguments) {
    std::string output;
    FILE* const pipe = popen(("pactl " + arguments).c_str(), "r");
    for (int character = 0; (character = fgetc(pipe)) != EOF;)
      output += static_cast<char>(character);
    pclose(pipe);
    return output;
  }

 private:
  std::filesystem::path _socket() const { return _folder / "pulse/native"; }

  const testing_support::TemporaryFolder _temporary;
  const std::filesystem::path _folder = _temporary.path();
  std::optional<ChildOfTest> _process;
};
