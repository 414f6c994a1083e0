#pragma once

#include <memory>

namespace platform {

/// Copy-on-write access: returns storage that only the caller refers to. Creates it if it is null;
/// copies it if it is shared.
template <typename Storage>
Storage& ownedStorage(std::shared_ptr<Storage>& storage) {
  if (!storage) {
    storage = std::make_shared<Storage>();
  } else if (storage.use_count() != 1) {
    storage = std::make_shared<Storage>(*storage);
  } else {
    // use_count() is a relaxed load, so it does not order the reads of a thread that has just
    // released its reference before the writes of the caller. An increment and a decrement do.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto synchronized = storage;
  }
  return *storage;
}

}  // namespace platform
