#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "box/media/ContentKeys.h"
#include "box/relay/RelayItem.h"

namespace box {

/// Content keys that the sender hands out, asked for in the name of an item at the relay.
///
/// Media that are encrypted themselves carry the identifiers of their keys and no address, so what
/// the sender is asked for is `clearkey:IDENTIFIER`, in base64url as in a Clear Key licence. It
/// answers with a raw key or a licence. Each key is asked for once, however many streams need it;
/// after a refusal it may be asked for again.
///
/// Threads: any.
class RelayContentKeys final : public ContentKeys,
                               public std::enable_shared_from_this<RelayContentKeys> {
 public:
  explicit RelayContentKeys(std::shared_ptr<RelayItem> item) : _item(std::move(item)) {}

  void ask(const platform::Bytes& keyID, Reply reply) override;
  /// Whoever waits gets nothing, now and from now on. Called before the streams are taken down,
  /// whose threads may be among them.
  void close();

 private:
  struct Entry {
    std::optional<platform::Bytes> key;
    std::vector<Reply> waiting;
  };

  void _settle(const platform::Bytes& keyID, const RelayAnswer& answer);

  std::mutex _mutex;                 // protects everything below
  std::shared_ptr<RelayItem> _item;  // none when closed
  std::map<platform::Bytes, Entry> _entries;
};

}  // namespace box
