#pragma once

#include <functional>
#include <memory>
#include <string>

#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/ResourceTransfer.h"

namespace streaming {

/// Collects the response to a key request. Owned by the context until the response is complete.
/// Transfer thread only.
class KeyRequest final : public TransferObserver, public std::enable_shared_from_this<KeyRequest> {
 public:
  static void start(const std::shared_ptr<ItemContext>& item, const std::string& url,
                    std::function<void(ContentResponse)> reply);
  KeyRequest(std::shared_ptr<ItemContext> item, std::function<void(ContentResponse)> reply);
  KeyRequest(const KeyRequest&) = delete;
  KeyRequest& operator=(const KeyRequest&) = delete;

 private:
  BodyFlow transferGotHead(const ResponseHead& head) override;
  BodyFlow transferGotBytes(std::string_view bytes) override;
  void transferEnded(const std::optional<platform::Error>& error) override;

  const std::weak_ptr<ItemContext> _item;
  std::function<void(ContentResponse)> _reply;
  std::unique_ptr<ResourceTransfer> _transfer;
  ContentResponse _response;
  platform::Bytes _bytes;
  bool _isTooLong = false;
};

}  // namespace streaming
