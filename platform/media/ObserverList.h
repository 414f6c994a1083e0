#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "platform/foundation/Token.h"

namespace platform {

/// A list of callbacks, called in order of registration.
///
/// Callbacks may add and remove observers and destroy the list. An observer that is added during
/// call() is not called by it. An observer that is removed during call() is not called any more.
/// Not thread-safe.
template <typename... Args>
class ObserverList {
 public:
  using Callback = std::function<void(Args...)>;
  using Identifier = std::uint64_t;

  bool empty() const { return _entries->empty(); }

  /// Adds an observer until erase().
  Identifier insert(Callback callback) {
    const Identifier identifier = ++_lastIdentifier;
    _entries->push_back({identifier, std::make_shared<Callback>(std::move(callback))});
    return identifier;
  }
  void erase(Identifier identifier) { _erase(*_entries, identifier); }

  /// Adds an observer until the token is destroyed.
  Token add(Callback callback) {
    return Token([entries = std::weak_ptr(_entries), identifier = insert(std::move(callback))] {
      if (auto list = entries.lock()) _erase(*list, identifier);
    });
  }

  void call(Args... args) const {
    // Keeps the entries alive: an observer may destroy this list.
    const auto entries = _entries;
    const auto snapshot = *entries;
    for (const auto& [identifier, callback] : snapshot) {
      const bool isRegistered = std::any_of(
          entries->begin(), entries->end(),
          [wanted = identifier](const Entry& entry) { return entry.identifier == wanted; });
      if (isRegistered) (*callback)(args...);
    }
  }

 private:
  struct Entry {
    Identifier identifier;
    std::shared_ptr<Callback> callback;
  };
  using Entries = std::vector<Entry>;

  static void _erase(Entries& entries, Identifier identifier) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
      return entry.identifier == identifier;
    });
    if (found == entries.end()) return;
    // Destroyed at the end of the scope: the destructors of captured objects may use this list.
    const auto removed = std::move(found->callback);
    entries.erase(found);
  }

  std::shared_ptr<Entries> _entries = std::make_shared<Entries>();
  Identifier _lastIdentifier = 0;
};

}  // namespace platform
