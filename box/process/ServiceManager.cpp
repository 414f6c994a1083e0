#include "box/process/ServiceManager.h"

#include <chrono>
#include <cstdint>

#include <systemd/sd-daemon.h>

namespace box {

void ServiceManager::notifyReady() {
  sd_notify(0, "READY=1");
  std::uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) <= 0) return;
  _interval = std::chrono::microseconds(microseconds / 2);
  _keepWatchdogAlive();
}

void ServiceManager::notifyStopping() {
  _timer.reset();
  sd_notify(0, "STOPPING=1");
}

void ServiceManager::_keepWatchdogAlive() {
  sd_notify(0, "WATCHDOG=1");
  _timer = _mainQueue.after(*_interval, [this] { _keepWatchdogAlive(); });
}

}  // namespace box
