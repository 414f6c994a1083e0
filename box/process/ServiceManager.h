#pragma once

#include <optional>

#include "platform/foundation/queues/Queue.h"

namespace box {

/// Sends the state of the process to the service manager with sd_notify(3). Does nothing if the
/// process was not started by one.
///
/// The watchdog keep-alive is a timer of the main queue with half the watchdog period. If the main
/// thread hangs, the service manager restarts the process. There is no timer if the unit sets no
/// watchdog.
///
/// Thread: main.
class ServiceManager {
 public:
  explicit ServiceManager(platform::MainQueue& mainQueue) : _mainQueue(mainQueue) {}
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  void notifyReady();
  void notifyStopping();

 private:
  void _keepWatchdogAlive();

  platform::MainQueue& _mainQueue;
  std::optional<platform::Duration> _interval;
  platform::Token _timer;
};

}  // namespace box
