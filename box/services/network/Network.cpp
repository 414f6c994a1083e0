#include "box/services/network/Network.h"

#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

Network::Network(platform::MainQueue& mainQueue, platform::NotificationCenter& center,
                 std::unique_ptr<NetworkWatch> watch)
    : _mainQueue(mainQueue), _watch(std::move(watch)), _state(new State{center}) {}

Network::~Network() { stop(); }

void Network::start() {
  _watch->start([&mainQueue = _mainQueue, state = std::weak_ptr(_state)](bool available) {
    mainQueue.async([state, available] {
      const auto self = state.lock();
      if (!self || std::exchange(self->available, available) == available) return;
      TVSLogNotice(TVSSystemLog, "The internet is %@", available ? "available" : "not available");
      self->center.post(platform::TVSInternetAvailabilityDidChangeNotification);
    });
  });
}

void Network::stop() { _watch->stop(); }

}  // namespace box
