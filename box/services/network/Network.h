#pragma once

#include <memory>

#include "box/services/network/NetworkWatch.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/SystemServices.h"

namespace box {

/// Whether the internet is available, as a watch tells it.
///
/// Workflow: made, start()ed when there is time for it, and stop()ped before the process ends. The
/// answer is false until the watch has told one; each change of it is posted as
/// TVSInternetAvailabilityDidChangeNotification, without a sender.
///
/// Threads: main.
class Network final : public platform::TVSNetworkUtilities {
 public:
  /// Queue and centre outlive it.
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
  // What is on its way to the main queue holds it weakly.
  const std::shared_ptr<State> _state;
};

}  // namespace box
