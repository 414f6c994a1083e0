#pragma once

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_system_integration {

/// A child process that prints a line as soon as it is ready.
class Child {
 public:
  Child(std::vector<std::string> arguments, const std::string& systemBus = {}) {
    int output[2];
    if (pipe(output) != 0) return;
    _process = fork();
    if (_process == 0) {
      dup2(output[1], STDOUT_FILENO);
      close(STDERR_FILENO);
      setenv("DBUS_SYSTEM_BUS_ADDRESS", systemBus.c_str(), 1);
      std::vector<char*> list;
      list.reserve(arguments.size() + 1);
      for (auto& argument : arguments) list.push_back(argument.data());
      list.push_back(nullptr);
      execvp(list[0], list.data());
      _exit(127);
    }
    close(output[1]);
    _output = output[0];
  }
  ~Child() {
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
    close(_output);
  }
  Child(const Child&) = delete;
  bool waitForOutput() const {
    std::array<char, 512> text{};
    return read(_output, text.data(), text.size()) > 0;
  }

 private:
  pid_t _process = 0;
  int _output = -1;
};

/// The command line of a private bus daemon, for Child.
inline std::vector<std::string> busDaemon(const std::string& address) {
  return {"dbus-daemon", "--session", "--nofork", "--print-address", "--address=" + address};
}

/// Returns the output of a command without trailing newlines.
inline std::string outputOf(const std::string& command) {
  FILE* const output = popen((command + " 2>&1").c_str(), "r");
  if (!output) return "";
  std::string text;
  for (int byte = fgetc(output); byte != EOF; byte = fgetc(output)) text += static_cast<char>(byte);
  pclose(output);
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

}  // namespace testing_system_integration
