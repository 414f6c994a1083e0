#include "box/media/RelayContentKeys.h"

#include <utility>

#include "box/relay/ClearKey.h"

namespace box {

using platform::Bytes;

namespace {
// Media that change their keys often have a few dozen an hour.
constexpr std::size_t kMostEntries = 256;
}  // namespace

void RelayContentKeys::ask(const Bytes& keyID, Reply reply) {
  std::shared_ptr<RelayItem> item;
  std::optional<Bytes> known;
  {
    const std::lock_guard lock(_mutex);
    item = _item;
    if (item) {
      if (_entries.size() >= kMostEntries)
        std::erase_if(_entries, [](const auto& each) { return each.second.key.has_value(); });
      Entry& entry = _entries[keyID];
      known = entry.key;
      if (!known) {
        entry.waiting.push_back(std::move(reply));
        if (entry.waiting.size() > 1) return;  // it has been asked for
      }
    }
  }
  if (!item || known) {
    reply(known);  // NOLINT(bugprone-use-after-move): kept only where nothing is known
    return;
  }
  item->askForKey("clearkey:" + base64urlOf(keyID),
                  [weak = weak_from_this(), keyID](const RelayAnswer& answer) {
                    if (const auto self = weak.lock()) self->_settle(keyID, answer);
                  });
}

void RelayContentKeys::_settle(const Bytes& keyID, const RelayAnswer& answer) {
  std::optional<Bytes> key;
  if (!answer.error && answer.data) key = keyOfAnswer(*answer.data, keyID);
  std::vector<Reply> waiting;
  {
    const std::lock_guard lock(_mutex);
    const auto found = _entries.find(keyID);
    if (found == _entries.end()) return;
    waiting = std::exchange(found->second.waiting, {});
    if (key)
      found->second.key = key;
    else
      _entries.erase(found);
  }
  for (const Reply& reply : waiting) reply(key);
}

void RelayContentKeys::close() {
  std::map<Bytes, Entry> entries;
  std::shared_ptr<RelayItem> item;
  {
    const std::lock_guard lock(_mutex);
    entries.swap(_entries);
    item.swap(_item);  // goes when no lock is held
  }
  for (const auto& [keyID, entry] : entries)
    for (const Reply& reply : entry.waiting) reply(std::nullopt);
}

}  // namespace box
