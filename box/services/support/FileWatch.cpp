#include "box/services/support/FileWatch.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

namespace box {

namespace {
/// IN_ATTRIB: dbus-daemon changes the mode of its socket after it has started to listen.
constexpr std::uint32_t kAppearance = IN_CREATE | IN_MOVED_TO | IN_ATTRIB;
constexpr std::uint32_t kFolderRemoved = IN_DELETE_SELF | IN_MOVE_SELF;
}  // namespace

FileWatch::FileWatch(std::string path)
    : _path(std::move(path)), _notify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  _watchNearestFolder();
}

void FileWatch::_watchNearestFolder() {
  if (_watch >= 0) inotify_rm_watch(_notify.get(), _watch);
  _watch = -1;
  std::filesystem::path awaited = _path;
  bool wasMissing = false;
  // Ends at the root, which is its own parent.
  while (_watch < 0 && awaited.has_parent_path() && awaited.parent_path() != awaited) {
    const auto folder = awaited.parent_path();
    _watch =
        inotify_add_watch(_notify.get(), folder.c_str(), kAppearance | kFolderRemoved | IN_ONLYDIR);
    const int failure = _watch < 0 ? errno : 0;
    _awaited = awaited.filename();
    // `awaited` may have been created before its parent was watched. Then start again.
    std::error_code ignored;
    if (failure == 0 && wasMissing && std::filesystem::exists(awaited, ignored)) {
      inotify_rm_watch(_notify.get(), std::exchange(_watch, -1));
      wasMissing = false;
      awaited = _path;
    } else {
      wasMissing = failure == ENOENT;
      awaited = folder;
    }
  }
}

bool FileWatch::take() {
  alignas(inotify_event) std::array<char, 4096> buffer{};
  bool appeared = false;
  for (;;) {
    const ssize_t count = read(_notify.get(), buffer.data(), buffer.size());
    if (count <= 0) break;
    for (const char* at = buffer.data(); at < buffer.data() + count;) {
      inotify_event event{};
      std::memcpy(&event, at, sizeof event);
      const char* const name = at + sizeof event;
      // Ignore late events of folders that are no longer watched.
      const bool isRelevant = event.wd == _watch || (event.mask & IN_Q_OVERFLOW) != 0;
      if (isRelevant && ((event.mask & (kFolderRemoved | IN_Q_OVERFLOW)) != 0 ||
                         (event.len > 0 && _awaited == name))) {
        appeared = true;
      }
      at += sizeof event + event.len;
    }
  }
  if (appeared) _watchNearestFolder();
  return appeared;
}

}  // namespace box
