#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/foundation/Date.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// How long a response may be used again without a request, in seconds; 0: not at all. Follows RFC
/// 9111: Cache-Control, Expires, or a tenth of the age of the last change, at most a day.
double freshSeconds(const HeaderFields& headers, platform::Date now);

struct DiskCacheLimits {
  std::uint64_t bytes = std::uint64_t{512} * 1024 * 1024;
  double ageSeconds = 7.0 * 24 * 60 * 60;
};

/// Keeps whole bodies of responses in a folder. When the limit is reached it deletes the least
/// recently used ones, and when it is opened those that are too old. A body becomes visible once it
/// is complete. A failure of the disk costs the entry and nothing else.
///
/// File names are digests of the URLs. Files with other names are left alone.
///
/// One thread. Each call does a bounded amount of work on the disk.
class DiskCache {
 public:
  /// Null, with a line in the log, when the folder cannot be made or read.
  static std::unique_ptr<DiskCache> open(std::string folder, platform::Date now,
                                         DiskCacheLimits limits = {});
  ~DiskCache();
  DiskCache(const DiskCache&) = delete;
  DiskCache& operator=(const DiskCache&) = delete;

  /// Reads a body. It stays readable when its entry is deleted meanwhile.
  class Reader {
   public:
    Reader(int descriptor, std::uint64_t offset, std::uint64_t size, HeaderFields headers);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    const HeaderFields& headers() const { return _headers; }
    std::uint64_t size() const { return _size; }
    /// Up to `length` bytes from `position` of the body; fewer only at its end or after an error.
    std::string read(std::uint64_t position, std::size_t length) const;

   private:
    const int _descriptor;
    const std::uint64_t _offset;
    const std::uint64_t _size;
    const HeaderFields _headers;
  };

  /// Writes a body, which is deleted unless it is committed.
  class Writer {
   public:
    Writer(DiskCache& cache, std::string name, int descriptor);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    /// False: the body cannot be kept, and the writer is to be destroyed.
    bool write(std::string_view bytes);
    bool commit();

   private:
    DiskCache& _cache;
    const std::string _name;
    int _descriptor;
    std::uint64_t _size = 0;  // of the file
  };

  /// The body that is kept for `url` and still fresh; null: none.
  std::unique_ptr<Reader> find(const std::string& url, platform::Date now);
  /// Null when a response with these header fields must not or cannot be kept. The cache outlives
  /// the writer.
  std::unique_ptr<Writer> begin(const std::string& url, const HeaderFields& headers,
                                platform::Date now);
  std::uint64_t size() const { return _size; }

 private:
  struct Entry {
    std::string name;
    std::uint64_t size;
  };

  DiskCache(std::string folder, DiskCacheLimits limits);
  bool _scan(platform::Date now);
  std::string _path(const std::string& name) const;
  void _keep(const std::string& name, std::uint64_t size);
  void _remove(const std::string& name);
  void _makeRoom();

  const std::string _folder;
  const DiskCacheLimits _limits;
  std::list<Entry> _entries;  // least recently used first
  std::unordered_map<std::string, std::list<Entry>::iterator> _index;
  std::uint64_t _size = 0;
};

}  // namespace streaming
