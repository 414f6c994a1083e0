#pragma once

#include <functional>
#include <memory>
#include <string>

#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/ResourceTransfer.h"

namespace streaming {

/// Collects the response to a key request. Owned by the context until the response is complete.
/// Transfer thread only.
class KeyQuestion final : public TransferObserver,
                          public std::enable_shared_from_this<KeyQuestion> {
 public:
  static void start(const std::shared_ptr<ItemContext>& item, const std::string& url,
                    std::function<void(ContentAnswer)> reply);
  KeyQuestion(std::shared_ptr<ItemContext> item, std::function<void(ContentAnswer)> reply);
  KeyQuestion(const KeyQuestion&) = delete;
  KeyQuestion& operator=(const KeyQuestion&) = delete;

 private:
  BodyFlow transferGotHead(const ResponseHead& head) override;
  BodyFlow transferGotBytes(std::string_view bytes) override;
  void transferEnded(const std::optional<platform::Error>& error) override;

  const std::weak_ptr<ItemContext> _item;
  std::function<void(ContentAnswer)> _reply;
  std::unique_ptr<ResourceTransfer> _transfer;
  ContentAnswer _answer;
  platform::Bytes _bytes;
  bool _isTooLong = false;
};

}  // namespace streaming
