#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/foundation/Error.h"
#include "streaming/manifest/Segment.h"
#include "streaming/playback/loading/BodyFetch.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// 16 bytes.
using ContentKey = std::shared_ptr<const std::string>;
using KeyResult = std::variant<ContentKey, platform::Error>;

/// Loads and caches keys of segments. Failures are cached for some seconds, so that the server does
/// not get a request for each segment. Transfer thread only.
class KeyStore {
 public:
  explicit KeyStore(TransferSource& source) : _source(source) {}
  /// `done` may be called synchronously; then the result is null. Destroying the handle removes
  /// `done`.
  std::shared_ptr<void> get(const SegmentKey& key, std::function<void(const KeyResult&)> done);
  void clear() { _entries.clear(); }

 private:
  struct Entry {
    std::optional<KeyResult> result;
    MonotonicTime endedAt;
    std::unique_ptr<BodyFetch> fetch;
    std::vector<std::weak_ptr<std::function<void(const KeyResult&)>>> waiting;
  };
  void _end(const std::string& url, const FetchResult& result);

  TransferSource& _source;
  std::map<std::string, Entry> _entries;
};

}  // namespace streaming
