#pragma once

#include <memory>
#include <mutex>

#include "platform/media/MediaFacts.h"

namespace media {

/// What is known of an item.
///
/// Threads: newest() and publish() the pipeline's; published() any.
class ItemFacts {
 public:
  platform::MediaFacts& newest() { return _newest; }
  const platform::MediaFacts& newest() const { return _newest; }
  /// Makes a copy of the newest facts for other threads.
  void publish();
  std::shared_ptr<const platform::MediaFacts> published() const;

 private:
  platform::MediaFacts _newest;
  mutable std::mutex _mutex;  // protects _published
  std::shared_ptr<const platform::MediaFacts> _published = std::make_shared<platform::MediaFacts>();
};

}  // namespace media
