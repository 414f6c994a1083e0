#pragma once

#include <functional>
#include <optional>

#include "platform/foundation/Bytes.h"

namespace media {

/// The source of the keys of encrypted media.
///
/// Threads: any.
class ContentKeys {
 public:
  /// `key` is nullopt if there is no such key.
  using Reply = std::function<void(const std::optional<platform::Bytes>& key)>;

  virtual ~ContentKeys() = default;
  /// `reply` is called at most once, on any thread, possibly before requestKey() returns. It may
  /// never be called: wait for it with a time-out.
  virtual void requestKey(const platform::Bytes& keyID, Reply reply) = 0;
};

}  // namespace media
