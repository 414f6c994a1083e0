#include "streaming/transfer/LocalBody.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "streaming/foundation/Text.h"
#include "streaming/foundation/URL.h"
#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

using platform::URLErrorCode;

class OpenFile {
 public:
  explicit OpenFile(int descriptor) : _descriptor(descriptor) {}
  ~OpenFile() { close(_descriptor); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  std::string read(std::uint64_t position, std::size_t count) const {
    std::string bytes(count, '\0');
    std::size_t done = 0;
    while (done < count) {
      const ssize_t got = pread(_descriptor, bytes.data() + done, count - done,
                                static_cast<off_t>(position + done));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      done += static_cast<std::size_t>(got);
    }
    bytes.resize(done);
    return bytes;
  }

 private:
  const int _descriptor;
};

}  // namespace

std::optional<LocalBody> readDataURL(const std::string& url) {
  const auto colon = url.find(':');
  const auto comma = url.find(',');
  if (colon == url.npos || comma == url.npos || comma < colon) return std::nullopt;
  std::string_view type = std::string_view(url).substr(colon + 1, comma - colon - 1);
  const std::string_view text = std::string_view(url).substr(comma + 1);
  constexpr std::string_view kBase64 = ";base64";
  const bool isBase64 = type.size() >= kBase64.size() &&
                        isSameName(type.substr(type.size() - kBase64.size()), kBase64);
  if (isBase64) type.remove_suffix(kBase64.size());
  auto bytes = unescaped(text.substr(0, text.find('#')));
  if (bytes && isBase64) bytes = fromBase64(*bytes);
  if (!bytes) return std::nullopt;
  LocalBody body;
  body.fields = {{"Content-Type", type.empty() ? "text/plain" : std::string(type)}};
  body.size = bytes->size();
  body.read = [held = std::make_shared<const std::string>(*std::move(bytes))](
                  std::uint64_t position, std::size_t count) {
    return held->substr(static_cast<std::size_t>(position), count);
  };
  return body;
}

std::optional<LocalBody> openFileURL(const std::string& url, platform::Error& error) {
  const auto parts = URLParts::of(url);
  const auto path = unescaped(parts.path);
  const bool isLocal =
      !parts.authority || parts.authority->empty() || *parts.authority == "localhost";
  if (!isLocal || !path || path->empty() || path->find('\0') != path->npos) {
    error = networkError(URLErrorCode::BadURL);
    return std::nullopt;
  }
  // O_NONBLOCK: do not block when opening a pipe.
  const int descriptor = open(path->c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) {
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    error = networkError(isMissing ? URLErrorCode::FileDoesNotExist
                                   : URLErrorCode::NoPermissionToReadFile);
    return std::nullopt;
  }
  auto file = std::make_shared<const OpenFile>(descriptor);
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    error =
        networkError(URLErrorCode::NoPermissionToReadFile, "The URL does not name a regular file.");
    return std::nullopt;
  }
  LocalBody body;
  body.size = static_cast<std::uint64_t>(status.st_size);
  body.read = [file = std::move(file)](std::uint64_t position, std::size_t count) {
    return file->read(position, count);
  };
  return body;
}

}  // namespace streaming
