#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "platform/foundation/Token.h"

namespace platform {

/// The observers of one thing, in order of registration.
///
/// During a call() observers may come and go, and the list's owner may die: one that was added
/// meanwhile does not hear that call, one that was dropped does not hear it any more. Threads: one.
template <typename... Args>
class ObserverList {
 public:
  using Callback = std::function<void(Args...)>;
  using Identifier = std::uint64_t;

  bool empty() const { return _entries->empty(); }

  /// Stays until erase().
  Identifier insert(Callback callback) {
    const Identifier identifier = ++_lastIdentifier;
    _entries->push_back({identifier, std::make_shared<Callback>(std::move(callback))});
    return identifier;
  }
  void erase(Identifier identifier) { _erase(*_entries, identifier); }

  /// Stays as long as the token.
  Token add(Callback callback) {
    return Token([entries = std::weak_ptr(_entries), identifier = insert(std::move(callback))] {
      if (auto list = entries.lock()) _erase(*list, identifier);
    });
  }

  void call(Args... args) const {
    // Shared hold: an observer may destroy this list.
    const auto entries = _entries;
    const auto snapshot = *entries;
    for (const auto& [identifier, callback] : snapshot) {
      const bool still = std::any_of(
          entries->begin(), entries->end(),
          [wanted = identifier](const Entry& entry) { return entry.identifier == wanted; });
      if (still) (*callback)(args...);
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
    // The callback's captures may own what looks at this list: they die after it is in order again.
    const auto dying = std::move(found->callback);
    entries.erase(found);
  }

  std::shared_ptr<Entries> _entries = std::make_shared<Entries>();
  Identifier _lastIdentifier = 0;
};

}  // namespace platform
