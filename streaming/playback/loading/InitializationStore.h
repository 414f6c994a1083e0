#pragma once

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "streaming/manifest/Segment.h"
#include "streaming/playback/SegmentBytes.h"
#include "streaming/playback/loading/KeyStore.h"

namespace streaming {

/// Loads, decrypts and caches initialization sections. Transfer thread only.
class InitializationStore {
 public:
  InitializationStore(TransferSource& source, KeyStore& keys) : _source(source), _keys(keys) {}

  using Result = std::variant<std::shared_ptr<const SegmentBytes>, platform::Error>;
  /// `done` may be called synchronously; then the result is null. Destroying the handle removes
  /// `done`. Failures are not cached.
  std::shared_ptr<void> get(const Initialization& initialization,
                            std::function<void(const Result&)> done);
  void clear() { _entries.clear(); }

 private:
  struct Entry {
    Resource resource;
    std::optional<SegmentKey> key;
    std::size_t urlIndex = 0;
    ContentKey contentKey;
    std::shared_ptr<const SegmentBytes> bytes;
    std::shared_ptr<void> keyRequest;
    std::unique_ptr<BodyFetch> fetch;
    std::vector<std::weak_ptr<std::function<void(const Result&)>>> waiting;
  };
  using EntryIterator = std::list<Entry>::iterator;
  void _begin(EntryIterator entry);
  void _fetch(EntryIterator entry);
  void _fetched(EntryIterator entry, FetchResult result);
  void _end(EntryIterator entry, const Result& result);

  TransferSource& _source;
  KeyStore& _keys;
  std::list<Entry> _entries;  // most recently used first
};

}  // namespace streaming
