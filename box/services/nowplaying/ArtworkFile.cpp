#include "box/services/nowplaying/ArtworkFile.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {

constexpr std::string_view kPrefix = "artwork-";

struct Format {
  std::string_view type;
  std::string_view extension;
  std::string_view magic;
};
constexpr std::array<Format, 4> kFormats{{
    {"image/jpeg", ".jpg", "\xFF\xD8\xFF"},
    {"image/png", ".png", "\x89PNG"},
    {"image/gif", ".gif", "GIF8"},
    {"image/webp", ".webp", "RIFF"},
}};

std::string_view extensionOf(const platform::Bytes& data, const std::string& type) {
  for (const Format& format : kFormats) {
    if (type == format.type) return format.extension;
  }
  for (const Format& format : kFormats) {
    if (data.size() >= format.magic.size() &&
        std::memcmp(data.data(), format.magic.data(), format.magic.size()) == 0) {
      return format.extension;
    }
  }
  return "";
}

std::string urlOf(std::string_view path) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/";
  std::string url = "file://";
  for (const char character : path) {
    const auto byte = static_cast<unsigned char>(character);
    if (kPlain.find(character) != std::string_view::npos) {
      url += character;
    } else {
      url += {'%', kHex[byte >> 4U], kHex[byte & 15U]};
    }
  }
  return url;
}

bool writeAll(int file, const platform::Bytes& data) {
  for (std::size_t at = 0; at < data.size();) {
    const ssize_t count = write(file, data.data() + at, data.size() - at);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    at += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

ArtworkFile::ArtworkFile(std::string folder) : _folder(std::move(folder)) {}

const std::string& ArtworkFile::show(const std::shared_ptr<const platform::Bytes>& data,
                                     const std::string& type) {
  const bool same = data == _data || (data && _data && *data == *_data);
  if (same) return _url;
  remove();
  if (!data || data->empty()) return _url;
  if (_count == 0) _removeStaleFiles();
  _data = data;
  _path = _folder + "/" + std::string(kPrefix) + std::to_string(getpid()) + "-" +
          std::to_string(++_count) + std::string(extensionOf(*data, type));
  if (_write()) {
    _url = urlOf(_path);
  } else if (!std::exchange(_loggedFailure, true)) {
    TVSLogNotice(TVSSystemLog, "Cannot write the artwork %@: %@", _path, std::strerror(errno));
  }
  return _url;
}

bool ArtworkFile::_write() {
  if (mkdir(_folder.c_str(), 0700) < 0 && errno != EEXIST) return false;
  const FileDescriptor file(
      open(_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) return false;
  if (writeAll(file.get(), *_data)) return true;
  const int reason = errno;
  unlink(_path.c_str());
  errno = reason;
  return false;
}

void ArtworkFile::remove() {
  if (!_url.empty()) unlink(_path.c_str());
  _url.clear();
  _data.reset();
}

void ArtworkFile::_removeStaleFiles() const {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(_folder, ignored)) {
    const std::string name = entry.path().filename();
    if (!name.starts_with(kPrefix)) continue;
    pid_t process = 0;
    const auto read =
        std::from_chars(name.data() + kPrefix.size(), name.data() + name.size(), process);
    if (read.ec != std::errc() || process <= 0) continue;
    // A file with the id of this process is from an earlier process with the same id.
    const bool isStale = process == getpid() || (kill(process, 0) < 0 && errno == ESRCH);
    if (isStale) unlink(entry.path().c_str());
  }
}

}  // namespace box
