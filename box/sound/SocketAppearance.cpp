#include "box/sound/SocketAppearance.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

namespace box {

namespace fs = std::filesystem;

SocketAppearance::SocketAppearance(std::vector<std::string> paths)
    : _paths(std::move(paths)), _descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  _watchFolders();
}

SocketAppearance::~SocketAppearance() {
  if (_descriptor >= 0) close(_descriptor);
}

bool SocketAppearance::look() {
  std::array<char, 4096> events;
  while (read(_descriptor, events.data(), events.size()) > 0) {
  }
  _watchFolders();
  std::error_code ignored;
  return std::any_of(_paths.begin(), _paths.end(),
                     [&](const std::string& path) { return fs::exists(path, ignored); });
}

void SocketAppearance::_watchFolders() const {
  if (_descriptor < 0) return;
  for (const std::string& path : _paths) {
    // The nearest folder that is there, where the next one on the way will appear. Adding a watch
    // that there is changes nothing.
    fs::path folder = fs::path(path).parent_path();
    while (inotify_add_watch(_descriptor, folder.c_str(), IN_CREATE | IN_MOVED_TO | IN_ONLYDIR) <
               0 &&
           folder.has_relative_path())
      folder = folder.parent_path();
  }
}

}  // namespace box
