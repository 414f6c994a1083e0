#include "streaming/transfer/DiskCache.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/log/TVSLogger.h"
#include "streaming/foundation/Text.h"

namespace streaming {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMagic = "vorlane-cache 1\n";
constexpr std::string_view kUnfinished = ".part";
constexpr std::size_t kMaxHeaderBytes = std::size_t{64} * 1024;
constexpr double kHeuristicLimit = 24.0 * 60 * 60;
/// A larger body than this share of the cache would evict too many entries.
constexpr std::uint64_t kMaxShareDivisor = 4;

const std::string* fieldOf(const HeaderFields& headers, std::string_view name) {
  for (const auto& [each, value] : headers)
    if (isSameName(each, name)) return &value;
  return nullptr;
}

std::optional<double> secondsOfHTTPDate(const std::string* text) {
  if (!text || text->find(':') == text->npos) return std::nullopt;
  const time_t seconds = curl_getdate(text->c_str(), nullptr);
  if (seconds < 0) return std::nullopt;
  return static_cast<double>(seconds);
}

struct CacheControl {
  bool forbids = false;
  std::optional<double> maxAge;

  explicit CacheControl(const std::string* text) {
    std::string_view rest = text ? std::string_view(*text) : std::string_view();
    while (!rest.empty()) {
      const std::string_view item = rest.substr(0, rest.find(','));
      rest.remove_prefix(std::min(rest.size(), item.size() + 1));
      const auto equals = item.find('=');
      const std::string_view name = trimmed(item.substr(0, equals));
      if (isSameName(name, "no-store") || isSameName(name, "no-cache")) forbids = true;
      if (!isSameName(name, "max-age")) continue;
      std::string_view age =
          trimmed(equals == item.npos ? std::string_view() : item.substr(equals + 1));
      if (age.size() >= 2 && age.starts_with('"') && age.ends_with('"'))
        age = age.substr(1, age.size() - 2);
      maxAge = static_cast<double>(numberOf(age).value_or(0));
    }
  }
};

constexpr std::size_t kDigestLength = 64;

std::string nameOf(const std::string& url) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  EVP_Digest(url.data(), url.size(), digest.data(), &size, EVP_sha256(), nullptr);
  static constexpr char digits[] = "0123456789abcdef";
  std::string name;
  for (unsigned index = 0; index < size; ++index)
    name += {digits[digest[index] >> 4], digits[digest[index] & 15]};
  return name;
}

bool isCacheFile(std::string_view name) {
  if (name.ends_with(kUnfinished)) name.remove_suffix(kUnfinished.size());
  return name.size() == kDigestLength &&
         name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string headerBlock(const HeaderFields& headers, double freshUntil) {
  std::string block(kMagic);
  block += std::to_string(static_cast<std::int64_t>(freshUntil)) + '\n';
  for (const auto& [name, value] : headers)
    block.append(name).append(": ").append(value).append("\n");
  return block + '\n';
}

struct ParsedHeader {
  HeaderFields headers;
  double freshUntil = 0;
  std::size_t length = 0;
};

std::optional<ParsedHeader> parseHeader(std::string_view text) {
  const auto end = text.find("\n\n");
  if (!text.starts_with(kMagic) || end == std::string_view::npos) return std::nullopt;
  ParsedHeader result;
  result.length = end + 2;
  std::string_view rest = text.substr(kMagic.size(), end + 1 - kMagic.size());
  bool first = true;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() + 1);
    if (std::exchange(first, false)) {
      std::int64_t seconds = 0;
      std::from_chars(line.data(), line.data() + line.size(), seconds);
      result.freshUntil = static_cast<double>(seconds);
    } else if (const auto colon = line.find(": "); colon != std::string_view::npos) {
      result.headers.emplace_back(line.substr(0, colon), line.substr(colon + 2));
    }
  }
  return result;
}

std::string readAt(int descriptor, std::uint64_t position, std::size_t length) {
  std::string bytes(length, '\0');
  std::size_t done = 0;
  while (done < length) {
    const ssize_t count =
        pread(descriptor, bytes.data() + done, length - done, static_cast<off_t>(position + done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
  return bytes;
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

double freshSeconds(const HeaderFields& headers, platform::Date now) {
  const CacheControl control(fieldOf(headers, "Cache-Control"));
  // Entries are keyed by URL only, so responses with Vary or cookies are not cached. Radio streams
  // (icy-metaint) have no end.
  for (const char* name : {"Vary", "Set-Cookie", "icy-metaint"})
    if (control.forbids || fieldOf(headers, name)) return 0;
  if (control.maxAge) return *control.maxAge;
  const double date = secondsOfHTTPDate(fieldOf(headers, "Date")).value_or(now.secondsSince1970);
  if (fieldOf(headers, "Expires"))
    return std::max(0.0, secondsOfHTTPDate(fieldOf(headers, "Expires")).value_or(0) - date);
  if (const auto changed = secondsOfHTTPDate(fieldOf(headers, "Last-Modified")))
    return std::clamp((date - *changed) / 10, 0.0, kHeuristicLimit);
  return 0;
}

DiskCache::Reader::Reader(int descriptor, std::uint64_t offset, std::uint64_t size,
                          HeaderFields headers)
    : _descriptor(descriptor), _offset(offset), _size(size), _headers(std::move(headers)) {}

DiskCache::Reader::~Reader() { close(_descriptor); }

std::string DiskCache::Reader::read(std::uint64_t position, std::size_t length) const {
  if (position >= _size) return {};
  return readAt(_descriptor, _offset + position,
                static_cast<std::size_t>(std::min<std::uint64_t>(length, _size - position)));
}

DiskCache::Writer::Writer(DiskCache& cache, std::string name, int descriptor)
    : _cache(cache), _name(std::move(name)), _descriptor(descriptor) {}

DiskCache::Writer::~Writer() {
  if (_descriptor < 0) return;
  close(_descriptor);
  unlink((_cache._path(_name) + std::string(kUnfinished)).c_str());
}

bool DiskCache::Writer::write(std::string_view bytes) {
  _size += bytes.size();
  return _descriptor >= 0 && _size <= _cache._limits.bytes / kMaxShareDivisor &&
         writeAll(_descriptor, bytes);
}

bool DiskCache::Writer::commit() {
  if (_descriptor < 0) return false;
  const std::string path = _cache._path(_name);
  const std::string unfinished = path + std::string(kUnfinished);
  const bool closed = close(std::exchange(_descriptor, -1)) == 0;
  if (!closed || rename(unfinished.c_str(), path.c_str()) != 0) {
    unlink(unfinished.c_str());
    return false;
  }
  _cache._keep(_name, _size);
  return true;
}

std::unique_ptr<DiskCache> DiskCache::open(std::string folder, platform::Date now,
                                           DiskCacheLimits limits) {
  std::unique_ptr<DiskCache> cache(new DiskCache(std::move(folder), limits));
  if (cache->_scan(now)) return cache;
  TVSLogWarning(TVSSystemLog, "The disk cache is disabled: %@ cannot be used", cache->_folder);
  return nullptr;
}

DiskCache::DiskCache(std::string folder, DiskCacheLimits limits)
    : _folder(std::move(folder)), _limits(limits) {}

DiskCache::~DiskCache() = default;

std::string DiskCache::_path(const std::string& name) const { return _folder + '/' + name; }

bool DiskCache::_scan(platform::Date now) {
  std::error_code error;
  fs::create_directories(_folder, error);
  struct stat folder {};
  if (stat(_folder.c_str(), &folder) != 0) return false;
  // Skip chmod() when possible: a sandbox may forbid it.
  if ((folder.st_mode & 07777) != 0700 && chmod(_folder.c_str(), 0700) != 0) return false;
  struct Found {
    time_t used;
    Entry entry;
  };
  std::vector<Found> found;
  for (fs::directory_iterator each(_folder, error), end; !error && each != end;
       each.increment(error)) {
    const std::string name = each->path().filename();
    struct stat status {};
    if (!isCacheFile(name)) continue;
    if (lstat(each->path().c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
    const double age = now.secondsSince1970 - static_cast<double>(status.st_mtime);
    if (name.ends_with(kUnfinished) || age > _limits.ageSeconds)
      unlink(each->path().c_str());
    else
      found.push_back({status.st_mtime, {name, static_cast<std::uint64_t>(status.st_size)}});
  }
  if (error) return false;
  std::sort(found.begin(), found.end(),
            [](const Found& left, const Found& right) { return left.used < right.used; });
  for (const Found& each : found) _keep(each.entry.name, each.entry.size);
  return true;
}

void DiskCache::_keep(const std::string& name, std::uint64_t size) {
  if (const auto old = _index.find(name); old != _index.end()) {
    _size -= old->second->size;
    _entries.erase(old->second);
  }
  _entries.push_back({name, size});
  _index[name] = std::prev(_entries.end());
  _size += size;
  _makeRoom();
}

void DiskCache::_remove(const std::string& name) {
  const auto found = _index.find(name);
  if (found == _index.end()) return;
  unlink(_path(name).c_str());
  _size -= found->second->size;
  _entries.erase(found->second);
  _index.erase(found);
}

void DiskCache::_makeRoom() {
  while (_size > _limits.bytes && !_entries.empty()) _remove(std::string(_entries.front().name));
}

std::unique_ptr<DiskCache::Reader> DiskCache::find(const std::string& url, platform::Date now) {
  const std::string name = nameOf(url);
  const auto found = _index.find(name);
  if (found == _index.end()) return nullptr;
  const int descriptor = ::open(_path(name).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (descriptor < 0) {
    _remove(name);
    return nullptr;
  }
  struct stat status {};
  auto header = parseHeader(readAt(descriptor, 0, kMaxHeaderBytes));
  const bool whole = fstat(descriptor, &status) == 0 &&
                     static_cast<std::uint64_t>(status.st_size) == found->second->size;
  if (!header || !whole || header->freshUntil < now.secondsSince1970) {
    close(descriptor);
    _remove(name);
    return nullptr;
  }
  // The modification time stores the order of use.
  futimens(descriptor, nullptr);
  _entries.splice(_entries.end(), _entries, found->second);
  return std::make_unique<Reader>(descriptor, header->length, found->second->size - header->length,
                                  std::move(header->headers));
}

std::unique_ptr<DiskCache::Writer> DiskCache::begin(const std::string& url,
                                                    const HeaderFields& headers,
                                                    platform::Date now) {
  const double fresh = freshSeconds(headers, now);
  if (fresh <= 0) return nullptr;
  const std::string block = headerBlock(headers, now.secondsSince1970 + fresh);
  if (block.size() > kMaxHeaderBytes) return nullptr;
  std::string name = nameOf(url);
  const std::string path = _path(name) + std::string(kUnfinished);
  // O_EXCL: one writer per entry.
  const int descriptor =
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor < 0) return nullptr;
  auto writer = std::make_unique<Writer>(*this, std::move(name), descriptor);
  if (!writer->write(block)) return nullptr;
  return writer;
}

}  // namespace streaming
