#pragma once

#include <functional>
#include <memory>
#include <string>

#include "streaming/transfer/ItemSetup.h"
#include "streaming/transfer/Transfer.h"
#include "streaming/transfer/TransferStatistics.h"

namespace streaming {

class ItemContext;

/// Starts the transfers of one item. Functions of TransferSource are for the transfer thread,
/// except post(), now() and civilTime(). All others may be called on any thread.
///
/// Supported URLs: http and https; `data:`; `file:` for the item's URL only. Other schemes are
/// requested from the sender. A transfer of TransferKind::Key returns the 16 bytes of the key. A
/// transfer of TransferKind::Item without a span also detects range support of the server.
class TransferItem final : public TransferSource {
 public:
  explicit TransferItem(std::shared_ptr<ItemContext> context);
  ~TransferItem() override;
  TransferItem(const TransferItem&) = delete;
  TransferItem& operator=(const TransferItem&) = delete;

  /// Cancels all transfers. No callback, posted task or reply is called afterwards.
  void close();
  const ItemSetup& setup() const;
  TransferStatistics statistics() const;
  /// A transfer is waiting for the network or the sender. Paused transfers do not count.
  bool isBusy() const;
  /// Requests a content key from the sender, or from the server of an http(s) URL. The response is
  /// not parsed. `reply` is called once, on the transfer thread, unless the item is closed first.
  void requestKey(const std::string& url, std::function<void(ContentResponse response)> reply);

  std::unique_ptr<Transfer> start(const TransferRequest& request,
                                  TransferObserver& observer) override;
  std::shared_ptr<void> callAt(MonotonicTime when, std::function<void()> task) override;
  MonotonicTime now() const override;
  platform::Date civilTime() const override;
  void post(std::function<void()> task) override;

 private:
  const std::shared_ptr<ItemContext> _context;
};

}  // namespace streaming
