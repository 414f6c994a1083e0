#pragma once

#include <memory>

namespace platform {

/// The storage for a change: made when there is none, copied first when somebody else holds it too.
template <typename Storage>
Storage& ownedStorage(std::shared_ptr<Storage>& storage) {
  if (!storage) {
    storage = std::make_shared<Storage>();
  } else if (storage.use_count() != 1) {
    storage = std::make_shared<Storage>(*storage);
  } else {
    // Reading the count orders nothing. Counting up and down does: what another thread, the last to
    // let go, read from the storage comes before what is written to it now.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto synchronized = storage;
  }
  return *storage;
}

}  // namespace platform
