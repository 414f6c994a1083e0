#pragma once

#include <optional>

#include "platform/foundation/queues/Queue.h"

namespace box {

/// Tells the service manager that started the process how it is, by the protocol of sd_notify(3).
/// Where none did, nothing happens.
///
/// The watchdog is fed by the main queue, at half of its period: a main thread that hangs is a
/// restart. Where the unit asks for no watchdog there is no timer.
///
/// Threads: main.
class ServiceManager {
 public:
  explicit ServiceManager(platform::MainQueue& mainQueue) : _mainQueue(mainQueue) {}
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  /// Requests are served from now on.
  void tellReady();
  /// The end has begun.
  void tellStopping();

 private:
  void _feedWatchdog();

  platform::MainQueue& _mainQueue;
  std::optional<platform::Duration> _interval;
  platform::Token _timer;
};

}  // namespace box
