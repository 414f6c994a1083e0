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
#include "streaming/transfer/TransferBounds.h"
#include "streaming/transfer/TransferThread.h"
#include "streaming/transfer/http/CurlLoop.h"
#include "streaming/transfer/http/NetworkReach.h"

namespace streaming {

class KeyQuestion;
class ResourceTransfer;

/// What all items share, on the transfer thread.
struct SharedConnections {
  std::unique_ptr<CurlLoop> loop;  ///< null: the thread has not begun, or has ended
  std::unique_ptr<DiskCache> cache;
};

/// What the transfers of one item share. Transfer thread only, except where it says so.
class ItemContext : public std::enable_shared_from_this<ItemContext> {
 public:
  /// On any thread.
  ItemContext(ItemSetup setup, std::shared_ptr<TransferThread> thread,
              std::shared_ptr<SharedConnections> shared, TransferBounds bounds);
  ~ItemContext();
  ItemContext(const ItemContext&) = delete;
  ItemContext& operator=(const ItemContext&) = delete;

  // Any thread:
  const ItemSetup& setup() const { return _setup; }
  const TransferBounds& bounds() const { return _bounds; }
  ItemCounters& counters() { return _counters; }
  bool isClosed() const { return _isClosed; }
  /// No callback is called anew after it. close() follows on the transfer thread.
  void shut() { _isClosed = true; }
  /// `task` is not called after the item was closed, but always destroyed on the transfer thread
  /// while that runs.
  void post(std::function<void()> task);

  EventLoop& loop() { return _thread->loop(); }
  /// Items with a key of their own do not share connections with others.
  CurlLoop& connections();
  /// Null: none for this item.
  DiskCache* cache() const { return _setup.usesDiskCache ? _shared->cache.get() : nullptr; }
  CURLSH* cookies();
  NetworkReach& reach() { return _reach; }
  /// Host and port are those of the item's own URL, over TLS if that is.
  bool isOwnServer(const std::string& url) const;

  void add(ResourceTransfer& transfer) { _transfers.insert(&transfer); }
  void remove(ResourceTransfer& transfer) { _transfers.erase(&transfer); }
  void add(std::shared_ptr<KeyQuestion> question) { _questions.insert(std::move(question)); }
  void remove(const std::shared_ptr<KeyQuestion>& question) { _questions.erase(question); }
  /// Cancels all transfers.
  void close();

 private:
  const ItemSetup _setup;
  const std::shared_ptr<TransferThread> _thread;
  const std::shared_ptr<SharedConnections> _shared;
  const TransferBounds _bounds;
  ItemCounters _counters;
  std::atomic<bool> _isClosed = false;
  NetworkReach _reach;
  CURLSH* _cookies = nullptr;
  std::unique_ptr<CurlLoop> _ownConnections;
  std::set<ResourceTransfer*> _transfers;
  std::set<std::shared_ptr<KeyQuestion>> _questions;
};

}  // namespace streaming
