#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/services/bus/BusAddress.h"
#include "box/services/support/FileWatch.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// Decides when to try to connect to a message bus, and logs whether the bus is available. After
/// each failure of a connection there are up to eight attempts with growing delays, and new ones
/// whenever the bus socket appears in its folder.
///
/// Workflow: isDue() is true at first. Whenever it is true, the owner calls beginAttempt() and then
/// didConnect() or didEnd(); didEnd() also reports the end of a connection. Without a connection
/// the owner polls descriptor() until deadline() and calls isDue() again.
///
/// Threads: not thread-safe.
class BusPresence {
 public:
  /// `address` is a D-Bus address. `component` is the log component; it must outlive this object.
  BusPresence(BusKind kind, std::string address, std::string_view component);

  const std::string& address() const { return _address; }

  void beginAttempt();
  /// The bus has replied.
  void didConnect();
  /// `reason`: a negative errno.
  void didEnd(int reason);

  /// Readable when isDue() must be called; -1 if there is only the deadline to wait for.
  int descriptor() const { return _appearance ? _appearance->descriptor() : -1; }
  std::optional<platform::TimePoint> deadline() const { return _retryTime; }
  bool isDue();

 private:
  const BusKind _kind;
  const std::string _address;
  const std::string _path;
  const std::string_view _component;
  /// Exists from the first attempt until the bus is connected.
  std::unique_ptr<FileWatch> _appearance;
  std::optional<platform::TimePoint> _retryTime = platform::TimePoint{};
  int _attempts = 0;
  bool _isConnected = false;
  /// The availability in the last log line.
  std::optional<bool> _loggedPresent;
};

}  // namespace box
