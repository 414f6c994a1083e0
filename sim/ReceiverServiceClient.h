#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/services/ReceiverServiceClient.h"

namespace sim {

/// The receiver service's end of the interface: remembers who registered, and what events came.
///
/// Threads: as the interface says; events() and the like from any.
class ReceiverServiceClient final : public platform::ReceiverServiceClient {
 public:
  struct Event {
    std::string name;
    platform::Dictionary info;
  };

  void setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                   std::shared_ptr<platform::SerialQueue> queue) override;
  void postEvent(const char* name, const platform::Dictionary& info) override;

  /// Null before the registration, or when the delegate is gone.
  std::shared_ptr<VorlaneReceiverUIDelegate> delegate() const { return _delegate.lock(); }
  /// Null before the registration.
  const std::shared_ptr<platform::SerialQueue>& queue() const { return _queue; }
  /// Gives up the hold on the queue.
  void releaseQueue() { _queue = nullptr; }
  /// Called on the main thread when a delegate has registered.
  void setRegistrationHandler(std::function<void()> handler) {
    _registrationHandler = std::move(handler);
  }

  /// In the order in which they came.
  std::vector<Event> events() const;
  std::vector<std::string> eventNames() const;
  /// The latest one of that name.
  std::optional<Event> lastEvent(std::string_view name) const;
  /// What came since the last time, which is then forgotten.
  std::vector<Event> takeEvents();

 private:
  // Main thread, and the queue's own thread, which starts to use it after the registration.
  std::weak_ptr<VorlaneReceiverUIDelegate> _delegate;
  std::shared_ptr<platform::SerialQueue> _queue;
  std::function<void()> _registrationHandler;

  // Protected by `_mutex`.
  mutable std::mutex _mutex;
  std::vector<Event> _events;
};

}  // namespace sim
