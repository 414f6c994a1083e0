#pragma once

#include <functional>
#include <memory>

#include <gio/gio.h>

#include "box/services/network/NetworkWatch.h"

namespace box {

/// Whether the internet can be reached, of what a network monitor says. A network that has not been
/// checked counts when it leads anywhere at all; one whose check came to a sign-in page does not.
bool isInternet(GNetworkConnectivity connectivity, bool networkAvailable);

/// GIO's network monitor: that of a network manager on the system bus, or the kernel's routes where
/// there is none.
///
/// It runs on a thread of its own, which sleeps in a GLib main context until a network changes. Its
/// making may ask the system bus, so stop() may wait for that.
///
/// GIO has one monitor in a process, which belongs to the first thread that asks for it: the watch
/// works once in a process, and nobody else may ask first.
///
/// Threads: main.
class GioNetworkWatch final : public NetworkWatch {
 public:
  GioNetworkWatch();
  ~GioNetworkWatch() override;
  void start(std::function<void(bool available)> tell) override;
  void stop() override;

 private:
  class Loop;
  std::unique_ptr<Loop> _loop;
};

}  // namespace box
