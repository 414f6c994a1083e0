#pragma once

#include <functional>
#include <optional>

#include "platform/foundation/Value.h"

namespace media {

/// Where the keys of encrypted media come from.
///
/// Threads: any.
class ContentKeys {
 public:
  /// With nothing where there is no such key.
  using Reply = std::function<void(const std::optional<platform::Bytes>& key)>;

  virtual ~ContentKeys() = default;
  /// `reply` is called at most once, on any thread, at once or later. Whoever waits for it sets a
  /// limit.
  virtual void ask(const platform::Bytes& keyID, Reply reply) = 0;
};

}  // namespace media
