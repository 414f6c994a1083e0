#include "streaming/transfer/TransferService.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <openssl/ssl.h>

#include "platform/foundation/queues/Clock.h"
#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/TransferThread.h"

namespace streaming {
namespace {

/// Items to close when the thread ends. Any thread.
class OpenItems {
 public:
  void add(const std::shared_ptr<ItemContext>& item) {
    const std::lock_guard lock(_mutex);
    std::erase_if(_items, [](const auto& each) { return each.expired(); });
    _items.push_back(item);
  }
  std::vector<std::weak_ptr<ItemContext>> take() {
    const std::lock_guard lock(_mutex);
    return std::exchange(_items, {});
  }

 private:
  std::mutex _mutex;  // guards _items
  std::vector<std::weak_ptr<ItemContext>> _items;
};

class CurlTransferService final : public TransferService {
 public:
  CurlTransferService(std::string cacheFolder, TransferLimits limits)
      : _cacheFolder(std::move(cacheFolder)), _limits(limits) {}
  ~CurlTransferService() override { _thread->stop(); }
  CurlTransferService(const CurlTransferService&) = delete;
  CurlTransferService& operator=(const CurlTransferService&) = delete;

  void warmUp() override {
    auto begin = [shared = _shared, thread = _thread.get(), folder = _cacheFolder] {
      curl_global_init(CURL_GLOBAL_DEFAULT);
      OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
      shared->loop = std::make_unique<CurlLoop>(thread->loop());
      if (!folder.empty()) shared->cache = DiskCache::open(folder, platform::SystemClock().date());
    };
    // Tasks that were posted before stop() may not have run, such as those that close items.
    auto end = [shared = _shared, items = _items] {
      for (const auto& each : items->take())
        if (const auto item = each.lock()) item->close();
      shared->loop.reset();
      shared->cache.reset();
    };
    _thread->start(std::move(begin), std::move(end));
  }

  std::shared_ptr<TransferItem> open(ItemSetup setup) override {
    warmUp();
    auto context = std::make_shared<ItemContext>(std::move(setup), _thread, _shared, _limits);
    _items->add(context);
    return std::make_shared<TransferItem>(std::move(context));
  }

 private:
  const std::string _cacheFolder;
  const TransferLimits _limits;
  const std::shared_ptr<TransferThread> _thread = std::make_shared<TransferThread>();
  const std::shared_ptr<SharedConnections> _shared = std::make_shared<SharedConnections>();
  const std::shared_ptr<OpenItems> _items = std::make_shared<OpenItems>();
};

}  // namespace

std::shared_ptr<TransferService> TransferService::make(std::string cacheFolder,
                                                       TransferLimits limits) {
  return std::make_shared<CurlTransferService>(std::move(cacheFolder), limits);
}

}  // namespace streaming
