#pragma once

#include <memory>
#include <string>

#include "streaming/transfer/ItemSetup.h"
#include "streaming/transfer/TransferBounds.h"
#include "streaming/transfer/TransferItem.h"

namespace streaming {

/// The transfer thread, with the connections and the disk cache that items share. Any thread.
/// Destroying it closes all items.
class TransferService {
 public:
  /// `cacheFolder`: for items that may use a disk cache; empty: none.
  static std::shared_ptr<TransferService> make(std::string cacheFolder = {},
                                               TransferBounds bounds = {});
  virtual ~TransferService() = default;
  virtual std::shared_ptr<TransferItem> open(ItemSetup setup) = 0;
  /// Starts the thread and initializes the libraries, off the calling thread.
  virtual void warmUp() = 0;
};

}  // namespace streaming
