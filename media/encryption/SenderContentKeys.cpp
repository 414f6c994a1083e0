#include "media/encryption/SenderContentKeys.h"

#include <utility>

#include "streaming/keys/ClearKey.h"

namespace media {

using platform::Bytes;

namespace {
// Media with key rotation may have a few dozen keys an hour.
constexpr std::size_t kMaxEntries = 256;
}  // namespace

void SenderContentKeys::requestKey(const Bytes& keyID, Reply reply) {
  SendRequest sendRequest;
  std::optional<Bytes> known;
  {
    const std::lock_guard lock(_mutex);
    sendRequest = _sendRequest;
    if (sendRequest) {
      if (_entries.size() >= kMaxEntries)
        std::erase_if(_entries, [](const auto& each) { return each.second.key.has_value(); });
      Entry& entry = _entries[keyID];
      known = entry.key;
      if (!known) {
        entry.waiting.push_back(std::move(reply));
        if (entry.waiting.size() > 1) return;  // already requested
      }
    }
  }
  if (!sendRequest || known) {
    reply(known);  // NOLINT(bugprone-use-after-move): moved only if no key is known
    return;
  }
  sendRequest("clearkey:" + streaming::base64urlOf(keyID),
              [weak = weak_from_this(), keyID](const streaming::ContentResponse& response) {
                if (const auto self = weak.lock()) self->_settle(keyID, response);
              });
}

void SenderContentKeys::_settle(const Bytes& keyID, const streaming::ContentResponse& response) {
  std::optional<Bytes> key;
  if (!response.error && response.data) key = streaming::keyFromResponse(*response.data, keyID);
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

void SenderContentKeys::close() {
  std::map<Bytes, Entry> entries;
  SendRequest sendRequest;
  {
    const std::lock_guard lock(_mutex);
    entries.swap(_entries);
    sendRequest.swap(_sendRequest);  // destroyed after the lock is released
  }
  for (const auto& [keyID, entry] : entries)
    for (const Reply& reply : entry.waiting) reply(std::nullopt);
}

}  // namespace media
