#include "media/pipeline/playback/ItemFacts.h"

namespace media {

void ItemFacts::publish() {
  auto facts = std::make_shared<const platform::MediaFacts>(_newest);
  const std::lock_guard lock(_mutex);
  _published.swap(facts);
}

std::shared_ptr<const platform::MediaFacts> ItemFacts::published() const {
  const std::lock_guard lock(_mutex);
  return _published;
}

}  // namespace media
