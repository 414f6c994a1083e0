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

/// The receiver service's side of the interface. Records the registered delegate and the events.
///
/// Threads: like the interface. The functions that return events are thread-safe.
class ReceiverServiceClient final : public platform::ReceiverServiceClient {
 public:
  struct Event {
    std::string name;
    platform::Dictionary info;
  };

  void setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                   std::shared_ptr<platform::SerialQueue> queue) override;
  void postEvent(const char* name, const platform::Dictionary& info) override;

  /// Null before the registration and after the delegate was destroyed.
  std::shared_ptr<VorlaneReceiverUIDelegate> delegate() const { return _delegate.lock(); }
  /// Null before the registration.
  const std::shared_ptr<platform::SerialQueue>& queue() const { return _queue; }
  /// Releases the reference to the queue.
  void releaseQueue() { _queue = nullptr; }
  /// Called on the main thread after a delegate has registered.
  void setRegistrationHandler(std::function<void()> handler) {
    _registrationHandler = std::move(handler);
  }

  /// In the order of arrival.
  std::vector<Event> events() const;
  std::vector<std::string> eventNames() const;
  /// The latest event with this name.
  std::optional<Event> lastEvent(std::string_view name) const;
  /// Returns the events since the last call, and removes them.
  std::vector<Event> takeEvents();

 private:
  // Used by the main thread, and after the registration by the thread of the queue.
  std::weak_ptr<VorlaneReceiverUIDelegate> _delegate;
  std::shared_ptr<platform::SerialQueue> _queue;
  std::function<void()> _registrationHandler;

  // Protected by `_mutex`.
  mutable std::mutex _mutex;
  std::vector<Event> _events;
};

}  // namespace sim
