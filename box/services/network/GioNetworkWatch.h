#pragma once

#include <functional>
#include <memory>

#include <gio/gio.h>

#include "box/services/network/NetworkWatch.h"

namespace box {

/// Whether the internet is reachable according to a network monitor. If the connectivity was not
/// checked, an available network counts. A captive portal does not count.
bool isInternet(GNetworkConnectivity connectivity, bool networkAvailable);

/// Watches GIO's network monitor, which uses a network manager on the system bus or else the
/// kernel's routes.
///
/// It runs a GLib main loop on a thread of its own. Creating the monitor may block on the system
/// bus; stop() waits for that.
///
/// GIO has one monitor per process, and it belongs to the thread that requests it first. Therefore
/// start a watch only once per process, and do not use GNetworkMonitor elsewhere.
///
/// Thread: main.
class GioNetworkWatch final : public NetworkWatch {
 public:
  GioNetworkWatch();
  ~GioNetworkWatch() override;
  void start(std::function<void(bool available)> onChange) override;
  void stop() override;

 private:
  class Loop;
  std::unique_ptr<Loop> _loop;
};

}  // namespace box
