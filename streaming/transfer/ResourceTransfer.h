#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "streaming/transfer/DiskCache.h"
#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/ItemSetup.h"
#include "streaming/transfer/LocalBody.h"
#include "streaming/transfer/Transfer.h"
#include "streaming/transfer/http/HTTPFetch.h"

namespace streaming {

/// A transfer from any source: a server, the sender, the disk cache, a file, or a `data:` URL.
/// Transfer thread only, except for replies of the sender.
class ResourceTransfer final : public Transfer, private FetchObserver {
 public:
  /// `observer` must outlive the transfer. `isRawKey`: a key response is reported without parsing.
  ResourceTransfer(std::shared_ptr<ItemContext> item, TransferRequest request,
                   TransferObserver& observer, bool isRawKey = false);
  ~ResourceTransfer() override;
  ResourceTransfer(const ResourceTransfer&) = delete;
  ResourceTransfer& operator=(const ResourceTransfer&) = delete;

  /// Call once. The observer is not called before start() returns.
  void start();
  void resume() override;
  /// The observer is not called after this.
  void cancel();

 private:
  void _locate(const std::string& url);
  void _fetch(const std::string& url);
  void _requestFromSender(const std::string& url);
  void _gotResponse(ContentResponse response);
  void _gotResponseData(ContentResponse response);
  bool _mayCache() const;
  void _deliverBody(LocalBody body);
  void _deliverHead(const ResponseHead& head);
  void _deliverBytes();
  void _follow(const std::string& url);

  BodyFlow transferGotHead(const ResponseHead& head) override;
  BodyFlow transferGotBytes(std::string_view bytes) override;
  void transferEnded(const std::optional<platform::Error>& error) override;
  void fetchRedirected(std::string url) override;

  BodyFlow _reportHead(const ResponseHead& head);
  BodyFlow _reportBytes(std::string_view bytes);
  void _sourceEnded();
  void _endKey();
  /// Must be the last statement of a caller: the observer may destroy this object.
  void _end(const std::optional<platform::Error>& error);
  void _endLater(platform::Error error);
  void _later(std::function<void()> task);
  BodyFlow _noteFlow(BodyFlow flow);
  void _setBusy(bool busy);

  const std::shared_ptr<ItemContext> _item;
  const TransferRequest _request;
  TransferObserver& _observer;
  const bool _parsesKey;
  std::string _url;  // the current URL, after redirects
  std::unique_ptr<HTTPFetch> _httpFetch;
  std::unique_ptr<DiskCache::Writer> _cacheWriter;
  std::shared_ptr<void> _timer;
  std::string _key;  // the key response so far, if it has to be parsed
  bool _isKeyTooLong = false;
  std::function<std::string(std::uint64_t position, std::size_t count)> _readBody;
  std::uint64_t _bodyPosition = 0;
  std::uint64_t _bodyEnd = 0;
  /// Replies of the sender hold a weak reference to it.
  std::shared_ptr<ResourceTransfer*> _pendingRequest;
  int _redirects = 0;
  bool _isTrusted = false;
  bool _isBusy = false;
  bool _isEnded = false;
};

}  // namespace streaming
