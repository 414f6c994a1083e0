#include "tests/box/screen/displays/DisplayServer.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace box::test {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kPatience{20};
constexpr uid_t kSomebody = 54323;
constexpr const char* kX11Folder = "/tmp/.X11-unix";

bool accepts(const fs::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.native().size() >= sizeof address.sun_path) return false;
  path.native().copy(address.sun_path, sizeof address.sun_path - 1);
  const int peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool connected =
      connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(peer);
  return connected;
}

std::string outputOf(const std::string& command) {
  std::string output;
  std::array<char, 65536> buffer{};
  FILE* const pipe = popen(command.c_str(), "r");
  if (!pipe) return output;
  while (const std::size_t size = fread(buffer.data(), 1, buffer.size(), pipe))
    output.append(buffer.data(), size);
  return pclose(pipe) == 0 ? output : std::string();
}

/// Of a portable pixmap, the format P6 with 255 levels.
std::optional<Screenshot> parsePixmap(const std::string& text) {
  Screenshot picture;
  int levels = 0;
  int header = 0;
  if (std::sscanf(text.c_str(), "P6 %d %d %d%n", &picture.width, &picture.height, &levels,
                  &header) != 3)
    return std::nullopt;
  const auto bytes =
      std::size_t{3} * static_cast<unsigned>(picture.width) * static_cast<unsigned>(picture.height);
  const auto begin = static_cast<std::size_t>(header) + 1;
  if (levels != 255 || text.size() < begin + bytes) return std::nullopt;
  picture.pixels.assign(text.begin() + static_cast<std::ptrdiff_t>(begin),
                        text.begin() + static_cast<std::ptrdiff_t>(begin + bytes));
  return picture;
}

/// Options changed in version 12.
bool isOldWeston() {
  const std::string version = outputOf("weston --version 2>/dev/null");
  int major = 0;
  return std::sscanf(version.c_str(), "weston %d", &major) == 1 && major < 12;
}

}  // namespace

DisplayServer::DisplayServer(Kind kind) : _kind(kind) {
  std::string folder = fs::temp_directory_path() / "display-XXXXXX";
  if (!mkdtemp(folder.data())) throw std::runtime_error("no folder");
  _folder = folder;
  if (kind == Kind::X11) {
    constexpr int kFirstNumber = 100;
    _name = ":" + std::to_string(kFirstNumber + getpid() % 30000);
    _socket = fs::path(kX11Folder) / ("X" + _name.substr(1));
    fs::create_directories(kX11Folder);
    chmod(kX11Folder, 01777);
  } else {
    _socket = _folder / "wayland-1";
    _name = _socket;
  }
  std::ofstream(_folder / "sway.config") << "output * resolution 1280x720 bg #000000 solid_color\n"
                                            "default_border none\nxwayland disable\n";
  // Without a seat, the panel stays above windows on the whole output.
  std::ofstream(_folder / "weston.ini") << "[shell]\npanel-position=none\n";
  if (getuid() == 0 && chown(_folder.c_str(), kSomebody, kSomebody) != 0)
    throw std::runtime_error("no owner");
  for (const char* name : {"SDL_VIDEODRIVER", "SDL_RENDER_DRIVER", "DISPLAY"}) unsetenv(name);
  setenv("WAYLAND_DISPLAY", kind == Kind::X11 ? "/nonexistent" : _name.c_str(), 1);
  if (kind == Kind::X11) setenv("DISPLAY", _name.c_str(), 1);
}

DisplayServer::~DisplayServer() {
  kill();
  if (_kind == Kind::X11) {
    fs::remove(_socket);
    fs::remove("/tmp/.X" + _name.substr(1) + "-lock");
  }
  fs::remove_all(_folder);
}

std::vector<std::string> DisplayServer::_programAndArguments() const {
  if (_kind == Kind::X11) return {"Xvfb", _name, "-screen", "0", "1280x720x24", "-nolisten", "tcp"};
  if (_kind == Kind::Sway) return {"sway", "--config", _folder / "sway.config"};
  const std::string renderer = _kind == Kind::WestonGL ? "gl" : "pixman";
  const bool isOld = isOldWeston();
  return {"weston",
          isOld ? "--backend=headless-backend.so" : "--backend=headless",
          isOld ? "--use-" + renderer : "--renderer=" + renderer,
          "--config=" + (_folder / "weston.ini").string(),
          "--socket=wayland-1",
          "--width=1280",
          "--height=720",
          "--idle-time=0",
          "--debug"};
}

void DisplayServer::_exec() const {
  // sway refuses to run as root.
  if (getuid() == 0 && (setresgid(kSomebody, kSomebody, kSomebody) != 0 ||
                        setresuid(kSomebody, kSomebody, kSomebody) != 0))
    return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // if the test is killed
  const int log = open((_folder / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  for (const char* name : {"HOME", "XDG_RUNTIME_DIR"}) setenv(name, _folder.c_str(), 1);
  setenv("WLR_BACKENDS", "headless", 1);
  setenv("WLR_RENDERER", "pixman", 1);
  setenv("WLR_LIBINPUT_NO_DEVICES", "1", 1);
  for (const char* name : {"WAYLAND_DISPLAY", "DISPLAY", "SWAYSOCK", "LD_PRELOAD"}) unsetenv(name);
  std::vector<std::string> texts = _programAndArguments();
  std::vector<char*> arguments;
  for (std::string& text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
}

bool DisplayServer::start() {
  const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  inotify_add_watch(watch, _socket.parent_path().c_str(), IN_CREATE | IN_MOVED_TO | IN_ATTRIB);
  std::fflush(nullptr);
  _process = fork();
  if (_process == 0) {
    _exec();
    _exit(127);
  }
  const bool accepted = _process > 0 && _waitForSocket(watch);
  close(watch);
  return accepted;
}

bool DisplayServer::_waitForSocket(int watch) const {
  const int process = static_cast<int>(syscall(SYS_pidfd_open, _process, 0));
  const auto limit = std::chrono::steady_clock::now() + kPatience;
  bool accepted = false;
  bool ended = false;
  // A socket is bound before it accepts connections, so an event may come too early.
  constexpr int kMilliseconds = 50;
  while (!(accepted = accepts(_socket)) && !ended && std::chrono::steady_clock::now() < limit) {
    pollfd ready[] = {{watch, POLLIN, 0}, {process, POLLIN, 0}};
    poll(ready, std::size(ready), kMilliseconds);
    std::array<char, 4096> ignored{};
    while (read(watch, ignored.data(), ignored.size()) > 0) {
    }
    ended = (ready[1].revents & POLLIN) != 0;
  }
  close(process);
  return accepted;
}

void DisplayServer::kill() {
  if (_process <= 0) return;
  ::kill(_process, SIGKILL);
  waitpid(_process, nullptr, 0);
  _process = -1;
}

std::string DisplayServer::_environment() const {
  return "cd '" + _folder.string() + "' && env XDG_RUNTIME_DIR='" + _folder.string() + "' ";
}

std::string DisplayServer::log() const {
  std::ifstream file(_folder / "log");
  return {std::istreambuf_iterator<char>(file), {}};
}

std::optional<Screenshot> DisplayServer::screenshot() const {
  return parsePixmap(outputOf(_environment() + _screenshotCommand() + " 2>>log"));
}

std::string DisplayServer::_screenshotCommand() const {
  constexpr const char* kPixmap = " -frames:v 1 -f image2pipe -c:v ppm -pix_fmt rgb24 -";
  // sway 1.10 does not answer while an output that was enabled again has no frame.
  if (_kind == Kind::Sway) return "timeout 3 grim -t ppm -";
  if (_kind == Kind::X11) {
    return "ffmpeg -v error -f x11grab -draw_mouse 0 -video_size 1280x720 -i " + _name +
           std::string(kPixmap);
  }
  // The name of its file has the time.
  return "sh -c 'rm -f *.png; weston-screenshooter >&2 && ffmpeg -v error -i *.png " +
         std::string(kPixmap) + "'";
}

void DisplayServer::addKeyboard() const {
  outputOf(_environment() + "wtype -s 60000 >/dev/null 2>>log & echo");
}

bool DisplayServer::press(const std::string& keys) const {
  std::istringstream names(keys);
  std::string command = _environment() + "wtype";
  for (std::string name; names >> name;) command += " -k " + name;
  return !outputOf(command + " 2>>log && echo done").empty();
}

bool DisplayServer::command(const std::string& arguments) const {
  return !outputOf(_environment() + "sh -c 'swaymsg -s sway-ipc.*.sock " + arguments + "' 2>>log")
              .empty();
}

}  // namespace box::test
