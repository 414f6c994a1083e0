#include "tests/box/ChildProcess.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/foundation/TVSLogger.h"

namespace {

constexpr int kPatienceMilliseconds = 20'000;

int runApplication(ChildProcess::MakeApplication makeApplication,
                   std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  int status = 0;
  const auto box = platform::makePlatform(static_cast<int>(argv.size()), argv.data(), &status);
  if (!box) return status;
  platform::Platform::setCurrent(box.get());
  TVSLogger::initialize("test", {TVSSystemLog});
  status = box->run(makeApplication());
  platform::Platform::setCurrent(nullptr);
  return status;
}

}  // namespace

ChildProcess::ChildProcess(MakeApplication makeApplication, std::vector<std::string> arguments) {
  std::string folder = std::filesystem::temp_directory_path() / "box-XXXXXX";
  int ends[2];
  if (!mkdtemp(folder.data()) || pipe(ends) != 0) throw std::runtime_error("no folder or pipe");
  _folder = folder;
  _socketPath = _folder / "receiver.sock";
  arguments.insert(arguments.begin(), {"tvvorlane", "--socket", _socketPath.string()});
  std::fflush(nullptr);
  _process = fork();
  if (_process < 0) throw std::runtime_error("no process");
  if (_process == 0) {
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    const int status = runApplication(makeApplication, arguments);
    std::fflush(nullptr);
    _exit(status);
  }
  close(ends[1]);
  _pipe = ends[0];
}

ChildProcess::~ChildProcess() {
  if (_process > 0) {
    send(SIGKILL);
    waitpid(_process, nullptr, 0);
  }
  close(_pipe);
  std::filesystem::remove_all(_folder);
}

void ChildProcess::send(int signal) const { kill(_process, signal); }

bool ChildProcess::_read() {
  pollfd descriptor{_pipe, POLLIN, 0};
  if (poll(&descriptor, 1, kPatienceMilliseconds) <= 0) return false;
  char buffer[4096];
  const ssize_t size = read(_pipe, buffer, sizeof buffer);
  if (size <= 0) return false;
  _output.append(buffer, static_cast<std::size_t>(size));
  return true;
}

bool ChildProcess::waitForLine(const std::string& text) {
  while (_output.find(text) == std::string::npos) {
    if (!_read()) return false;
  }
  return true;
}

int ChildProcess::waitForEnd() {
  while (_read()) {
  }
  pollfd descriptor{_pipe, POLLIN, 0};
  // The pipe's other end is closed by the end of the process.
  if (poll(&descriptor, 1, 0) <= 0 || !(descriptor.revents & POLLHUP)) return -1;
  int status = 0;
  waitpid(_process, &status, 0);
  _process = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
