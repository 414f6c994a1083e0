#pragma once

#include <memory>
#include <string>

#include "platform/foundation/queues/Queue.h"
#include "platform/services/VorlaneReceiverUIDelegate.h"

namespace platform {

/// The connection to the receiver service.
class ReceiverServiceClient {
 public:
  virtual ~ReceiverServiceClient() = default;
  /// From now on the calls of VorlaneReceiverUIDelegate are made on `queue`, one at a time. Calls
  /// fail after the delegate has been destroyed. Called once, on the main thread.
  virtual void setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                           std::shared_ptr<SerialQueue> queue) = 0;
  /// Sends an event. `name` is UTF-8. Called on the queue of the delegate.
  virtual void postEvent(const char* name, const Dictionary& info) = 0;
};

}  // namespace platform
