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

/// Requests content keys from the sender.
///
/// Encrypted samples have key ids and no URL, so the requested URL is `clearkey:ID` with the id in
/// base64url, as in a Clear Key licence. The sender answers with a raw key or a licence. Each key
/// is requested once, however many streams need it; after a refusal it may be requested again.
///
/// Threads: any.
class SenderContentKeys final : public ContentKeys,
                                public std::enable_shared_from_this<SenderContentKeys> {
 public:
  /// Sends a request to the sender; see streaming::StreamedItem::requestKey().
  using SendRequest = std::function<void(const std::string& url,
                                         std::function<void(streaming::ContentResponse)> reply)>;
  explicit SenderContentKeys(SendRequest sendRequest) : _sendRequest(std::move(sendRequest)) {}

  void requestKey(const platform::Bytes& keyID, Reply reply) override;
  /// Answers all pending and later requests with nullopt. Call it before the streams are stopped,
  /// whose threads may be waiting for keys.
  void close();

 private:
  struct Entry {
    std::optional<platform::Bytes> key;
    std::vector<Reply> waiting;
  };

  void _settle(const platform::Bytes& keyID, const streaming::ContentResponse& response);

  std::mutex _mutex;         // guards the members below
  SendRequest _sendRequest;  // empty after close()
  std::map<platform::Bytes, Entry> _entries;
};

}  // namespace media
