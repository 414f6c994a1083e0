#include "sim/ReceiverServiceClient.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/Assertion.h"

namespace sim {

void ReceiverServiceClient::setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                                        std::shared_ptr<platform::SerialQueue> queue) {
  TVS_ASSERT_MESSAGE(!_queue, "the receiver service has a delegate already");
  TVS_ASSERT(queue != nullptr);
  _delegate = std::move(delegate);
  _queue = std::move(queue);
  if (_registrationHandler) _registrationHandler();
}

void ReceiverServiceClient::postEvent(const char* name, const platform::Dictionary& info) {
  TVS_ASSERT(name != nullptr);
  // `_queue` is not compared: it may be released while its last tasks run.
  TVS_ASSERT_MESSAGE(platform::SerialQueue::current() != nullptr,
                     "an event goes out on the delegate's queue");
  const std::lock_guard lock(_mutex);
  _events.push_back({name, info});
}

std::vector<ReceiverServiceClient::Event> ReceiverServiceClient::events() const {
  const std::lock_guard lock(_mutex);
  return _events;
}

std::vector<std::string> ReceiverServiceClient::eventNames() const {
  std::vector<std::string> names;
  for (const Event& event : events()) names.push_back(event.name);
  return names;
}

std::optional<ReceiverServiceClient::Event> ReceiverServiceClient::lastEvent(
    std::string_view name) const {
  const std::lock_guard lock(_mutex);
  const auto found = std::find_if(_events.rbegin(), _events.rend(),
                                  [&](const Event& event) { return event.name == name; });
  if (found == _events.rend()) return std::nullopt;
  return *found;
}

std::vector<ReceiverServiceClient::Event> ReceiverServiceClient::takeEvents() {
  const std::lock_guard lock(_mutex);
  return std::exchange(_events, {});
}

}  // namespace sim
