#pragma once

#include <memory>
#include <string>

#include "streaming/transfer/ItemSetup.h"
#include "streaming/transfer/TransferItem.h"
#include "streaming/transfer/TransferLimits.h"

namespace streaming {

/// Owns the transfer thread, the shared connections and the disk cache. Any thread. The destructor
/// closes all items.
class TransferService {
 public:
  /// `cacheFolder`: folder of the disk cache; empty: none.
  static std::shared_ptr<TransferService> make(std::string cacheFolder = {},
                                               TransferLimits limits = {});
  virtual ~TransferService() = default;
  virtual std::shared_ptr<TransferItem> open(ItemSetup setup) = 0;
  /// Starts the thread and initializes libraries, asynchronously.
  virtual void warmUp() = 0;
};

}  // namespace streaming
