#pragma once

#include <memory>
#include <mutex>

#include "platform/media/MediaFacts.h"

namespace media {

/// The facts of an item.
///
/// Threads: newest() and publish() the pipeline's; published() any.
class ItemFacts {
 public:
  platform::MediaFacts& newest() { return _newest; }
  const platform::MediaFacts& newest() const { return _newest; }
  /// Publishes a copy of the newest facts to other threads.
  void publish();
  std::shared_ptr<const platform::MediaFacts> published() const;

 private:
  platform::MediaFacts _newest;
  mutable std::mutex _mutex;  // guards _published
  std::shared_ptr<const platform::MediaFacts> _published = std::make_shared<platform::MediaFacts>();
};

}  // namespace media
