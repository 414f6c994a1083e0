#pragma once

#include <memory>

#include "box/services/network/NetworkWatch.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/SystemServices.h"

namespace box {

/// Whether the internet is available, according to a NetworkWatch.
///
/// Workflow: construct, start(), and stop() before the process ends. The result is false until the
/// watch reports the first state. Each change posts TVSInternetAvailabilityDidChangeNotification
/// without a sender.
///
/// Thread: main.
class Network final : public platform::TVSNetworkUtilities {
 public:
  /// `mainQueue` and `center` must outlive this object.
  Network(platform::MainQueue& mainQueue, platform::NotificationCenter& center,
          std::unique_ptr<NetworkWatch> watch);
  ~Network() override;
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  void start();
  void stop();
  bool internetAvailable() override { return _state->available; }

 private:
  struct State {
    platform::NotificationCenter& center;
    bool available = false;
  };

  platform::MainQueue& _mainQueue;
  const std::unique_ptr<NetworkWatch> _watch;
  // Tasks in the main queue hold it weakly.
  const std::shared_ptr<State> _state;
};

}  // namespace box
