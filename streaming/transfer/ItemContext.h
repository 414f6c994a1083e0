#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include <curl/curl.h>

#include "streaming/transfer/DiskCache.h"
#include "streaming/transfer/ItemCounters.h"
#include "streaming/transfer/ItemSetup.h"
#include "streaming/transfer/TransferLimits.h"
#include "streaming/transfer/TransferThread.h"
#include "streaming/transfer/http/AddressPolicy.h"
#include "streaming/transfer/http/CurlLoop.h"

namespace streaming {

class KeyRequest;
class ResourceTransfer;

/// State that all items share. Transfer thread only.
struct SharedConnections {
  std::unique_ptr<CurlLoop> loop;  ///< null before the thread has started and after it has ended
  std::unique_ptr<DiskCache> cache;
};

/// State that the transfers of one item share. Transfer thread only, except where noted.
class ItemContext : public std::enable_shared_from_this<ItemContext> {
 public:
  /// Any thread.
  ItemContext(ItemSetup setup, std::shared_ptr<TransferThread> thread,
              std::shared_ptr<SharedConnections> shared, TransferLimits limits);
  ~ItemContext();
  ItemContext(const ItemContext&) = delete;
  ItemContext& operator=(const ItemContext&) = delete;

  // Any thread:
  const ItemSetup& setup() const { return _setup; }
  const TransferLimits& limits() const { return _limits; }
  ItemCounters& counters() { return _counters; }
  bool isClosed() const { return _isClosed; }
  /// Prevents further callbacks. close() must follow on the transfer thread.
  void markClosed() { _isClosed = true; }
  /// Runs `task` on the transfer thread, unless the item was closed. The task is destroyed on the
  /// transfer thread while that runs.
  void post(std::function<void()> task);

  EventLoop& loop() { return _thread->loop(); }
  /// An item with a pre-shared key has its own connections.
  CurlLoop& connections();
  /// Null: the item does not use the cache.
  DiskCache* cache() const { return _setup.usesDiskCache ? _shared->cache.get() : nullptr; }
  CURLSH* cookies();
  AddressPolicy& reach() { return _reach; }
  /// `url` has the host and port of the item's URL, and uses TLS if that does.
  bool isOwnServer(const std::string& url) const;

  void add(ResourceTransfer& transfer) { _transfers.insert(&transfer); }
  void remove(ResourceTransfer& transfer) { _transfers.erase(&transfer); }
  void add(std::shared_ptr<KeyRequest> request) { _keyRequests.insert(std::move(request)); }
  void remove(const std::shared_ptr<KeyRequest>& request) { _keyRequests.erase(request); }
  void close();

 private:
  const ItemSetup _setup;
  const std::shared_ptr<TransferThread> _thread;
  const std::shared_ptr<SharedConnections> _shared;
  const TransferLimits _limits;
  ItemCounters _counters;
  std::atomic<bool> _isClosed = false;
  AddressPolicy _reach;
  CURLSH* _cookies = nullptr;
  std::unique_ptr<CurlLoop> _ownConnections;
  std::set<ResourceTransfer*> _transfers;
  std::set<std::shared_ptr<KeyRequest>> _keyRequests;
};

}  // namespace streaming
