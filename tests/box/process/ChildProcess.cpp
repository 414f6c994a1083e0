#include "tests/box/process/ChildProcess.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/foundation/log/TVSLogger.h"

namespace {

constexpr auto kPatience = std::chrono::seconds(20);

std::vector<char*> argumentPointers(std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// Switches to another user with `home` as home folder and a limit on tasks.
void switchUser(const std::string& home, unsigned tasks) {
  constexpr uid_t kSomebody = 54322;
  const rlimit limit{tasks, tasks};
  for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"})
    setenv(name, home.c_str(), 1);
  if (chown(home.c_str(), kSomebody, kSomebody) != 0 ||
      setresgid(kSomebody, kSomebody, kSomebody) != 0 ||
      setresuid(kSomebody, kSomebody, kSomebody) != 0 || setrlimit(RLIMIT_NPROC, &limit) != 0)
    _exit(126);
}

int runApplication(ChildProcess::MakeApplication makeApplication,
                   ChildProcess::MakePlatform makePlatform, std::vector<std::string>& arguments) {
  int status = 0;
  const auto box =
      makePlatform(static_cast<int>(arguments.size()), argumentPointers(arguments).data(), &status);
  if (!box) return status;
  platform::Platform::setCurrent(box.get());
  TVSLogger::initialize("test", {TVSSystemLog});
  status = box->run(makeApplication());
  platform::Platform::setCurrent(nullptr);
  return status;
}

}  // namespace

ChildProcess::ChildProcess(MakeApplication makeApplication, std::vector<std::string> arguments,
                           MakePlatform makePlatform) {
  _start(std::move(arguments), makeApplication, makePlatform, {});
}

ChildProcess::ChildProcess(std::vector<std::string> arguments, std::optional<unsigned> tasks) {
  _start(std::move(arguments), nullptr, nullptr, tasks);
}

void ChildProcess::_start(std::vector<std::string> arguments, MakeApplication makeApplication,
                          MakePlatform makePlatform, std::optional<unsigned> tasks) {
  std::string folder = std::filesystem::temp_directory_path() / "box-XXXXXX";
  int ends[2];
  if (!mkdtemp(folder.data()) || pipe2(ends, O_CLOEXEC) != 0)
    throw std::runtime_error("no folder or pipe");
  _folder = folder;
  _socketPath = _folder / "receiver.sock";
  const std::filesystem::path program =
      std::filesystem::read_symlink("/proc/self/exe").replace_filename("tvvorlane");
  arguments.insert(arguments.begin(), {program.string(), "--socket", _socketPath.string()});
  const auto pointers = argumentPointers(arguments);
  std::fflush(nullptr);
  _process = fork();
  if (_process < 0) throw std::runtime_error("no process");
  if (_process == 0) {
    dup2(ends[1], STDERR_FILENO);
    // A test with a display has set it to an empty text.
    setenv("SDL_VIDEODRIVER", "dummy", 0);
    if (tasks) switchUser(folder, *tasks);
    if (!makeApplication) {
      execv(program.c_str(), pointers.data());
      _exit(127);
    }
    close(ends[0]);
    close(ends[1]);
    const int status = runApplication(makeApplication, makePlatform, arguments);
    std::fflush(nullptr);
    _exit(status);
  }
  close(ends[1]);
  _pipe = ends[0];
  _reader = std::thread([this] { _read(); });
}

ChildProcess::~ChildProcess() {
  if (_process > 0) {
    send(SIGKILL);
    waitpid(_process, nullptr, 0);
  }
  _reader.join();
  close(_pipe);
  std::filesystem::remove_all(_folder);
}

void ChildProcess::send(int signal) const { kill(_process, signal); }

void ChildProcess::_read() {
  char buffer[4096];
  ssize_t size = 0;
  do {
    size = read(_pipe, buffer, sizeof buffer);
    const std::lock_guard lock(_mutex);
    if (size > 0) _output.append(buffer, static_cast<std::size_t>(size));
    _closed = size <= 0;
    _changed.notify_all();
  } while (size > 0);
}

bool ChildProcess::waitForLine(const std::string& text, std::size_t from) {
  std::unique_lock lock(_mutex);
  const auto came = [&] { return _output.find(text, from) != std::string::npos; };
  _changed.wait_for(lock, kPatience, [&] { return _closed || came(); });
  return came();
}

int ChildProcess::waitForEnd() {
  {
    // The write end of the pipe is closed when the process ends.
    std::unique_lock lock(_mutex);
    if (!_changed.wait_for(lock, kPatience, [&] { return _closed; })) return kStillRunning;
  }
  int status = 0;
  waitpid(_process, &status, 0);
  _process = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string ChildProcess::output() const {
  const std::lock_guard lock(_mutex);
  return _output;
}
