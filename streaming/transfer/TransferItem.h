#pragma once

#include <functional>
#include <memory>
#include <string>

#include "streaming/transfer/ItemSetup.h"
#include "streaming/transfer/Transfer.h"
#include "streaming/transfer/TransferStatistics.h"

namespace streaming {

class ItemContext;

/// Makes the transfers of one item. What TransferSource declares is for the transfer thread, but
/// for post(), now() and civilTime(); the rest is for any thread.
///
/// Kinds of URLs: http and https; `data:`; `file:` only for the item's own URL; any other scheme is
/// asked of the sender. A transfer of TransferKind::Key yields exactly the 16 bytes of the key.
/// A transfer of TransferKind::Item without a span finds out whether the server has ranges.
class TransferItem final : public TransferSource {
 public:
  explicit TransferItem(std::shared_ptr<ItemContext> context);
  /// Like close().
  ~TransferItem() override;
  TransferItem(const TransferItem&) = delete;
  TransferItem& operator=(const TransferItem&) = delete;

  /// Ends all transfers. No callback, posted task or reply is called anew after it.
  void close();
  const ItemSetup& setup() const;
  TransferStatistics statistics() const;
  /// A transfer is under way, and waits for the network or the sender rather than for resume().
  bool isBusy() const;
  /// Asks for a content key in the name of the item: the sender, or the server of an http(s) URL.
  /// The answer's data are as they came. `reply` is called once, on the transfer thread, unless the
  /// item is closed first.
  void askForKey(const std::string& url, std::function<void(ContentAnswer answer)> reply);

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
