#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "media/encryption/ContentKeys.h"
#include "streaming/transfer/ItemSetup.h"

namespace media {

/// Content keys that the sender hands out, asked for in the name of an item.
///
/// Media that are encrypted themselves carry the identifiers of their keys and no address, so what
/// the sender is asked for is `clearkey:IDENTIFIER`, in base64url as in a Clear Key licence. It
/// answers with a raw key or a licence. Each key is asked for once, however many streams need it;
/// after a refusal it may be asked for again.
///
/// Threads: any.
class SenderContentKeys final : public ContentKeys,
                                public std::enable_shared_from_this<SenderContentKeys> {
 public:
  /// Asks the sender; as streaming::StreamedItem::askForKey().
  using Ask = std::function<void(const std::string& url,
                                 std::function<void(streaming::ContentAnswer)> reply)>;
  explicit SenderContentKeys(Ask ask) : _askSender(std::move(ask)) {}

  void ask(const platform::Bytes& keyID, Reply reply) override;
  /// Whoever waits gets nothing, now and from now on. Called before the streams are taken down,
  /// whose threads may be among them.
  void close();

 private:
  struct Entry {
    std::optional<platform::Bytes> key;
    std::vector<Reply> waiting;
  };

  void _settle(const platform::Bytes& keyID, const streaming::ContentAnswer& answer);

  std::mutex _mutex;  // protects everything below
  Ask _askSender;     // none when closed
  std::map<platform::Bytes, Entry> _entries;
};

}  // namespace media
