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

/// Freshness lifetime of a response in seconds; 0: the response must not be cached. Follows RFC
/// 9111 (Cache-Control, Expires). The heuristic lifetime is a tenth of the age of Last-Modified, at
/// most one day.
double freshSeconds(const HeaderFields& headers, platform::Date now);

struct DiskCacheLimits {
  std::uint64_t bytes = std::uint64_t{512} * 1024 * 1024;
  double ageSeconds = 7.0 * 24 * 60 * 60;
};

/// Stores complete response bodies in a folder. When the size limit is exceeded, the least recently
/// used entries are deleted. open() deletes entries that exceed the age limit. An entry becomes
/// visible when it is complete. A disk error loses only the entry.
///
/// File names are digests of the URLs. Other files in the folder are ignored.
///
/// Not thread-safe. Each call does a bounded amount of disk I/O.
class DiskCache {
 public:
  /// Logs a warning and returns null if the folder cannot be created or read.
  static std::unique_ptr<DiskCache> open(std::string folder, platform::Date now,
                                         DiskCacheLimits limits = {});
  ~DiskCache();
  DiskCache(const DiskCache&) = delete;
  DiskCache& operator=(const DiskCache&) = delete;

  /// Reads a body. The reader stays valid when its entry is deleted.
  class Reader {
   public:
    Reader(int descriptor, std::uint64_t offset, std::uint64_t size, HeaderFields headers);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    const HeaderFields& headers() const { return _headers; }
    std::uint64_t size() const { return _size; }
    /// Reads up to `length` bytes. Returns fewer only at the end of the body or after an error.
    std::string read(std::uint64_t position, std::size_t length) const;

   private:
    const int _descriptor;
    const std::uint64_t _offset;
    const std::uint64_t _size;
    const HeaderFields _headers;
  };

  /// Writes a body. The destructor deletes the file unless commit() has succeeded.
  class Writer {
   public:
    Writer(DiskCache& cache, std::string name, int descriptor);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    /// False: the body cannot be stored; destroy the writer.
    bool write(std::string_view bytes);
    bool commit();

   private:
    DiskCache& _cache;
    const std::string _name;
    int _descriptor;
    std::uint64_t _size = 0;  // of the file
  };

  /// The fresh cached body of `url`, or null.
  std::unique_ptr<Reader> find(const std::string& url, platform::Date now);
  /// Null if the response must not or cannot be cached. The cache must outlive the writer.
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
