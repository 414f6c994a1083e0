#pragma once

#include <memory>
#include <string>

#include "platform/foundation/queues/Queue.h"
#include "platform/services/VorlaneReceiverUIDelegate.h"

namespace platform {

/// The way to the receiver service.
class ReceiverServiceClient {
 public:
  virtual ~ReceiverServiceClient() = default;
  /// From then on the fourteen calls arrive on `queue`, one at a time. The delegate is held weakly:
  /// calls that find it gone are answered with a failure. Main thread, once.
  virtual void setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                           std::shared_ptr<SerialQueue> queue) = 0;
  /// Sends an event out. `name` is UTF-8. Called on the delegate's queue.
  virtual void postEvent(const char* name, const Dictionary& info) = 0;
};

}  // namespace platform
