#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/services/bus/BusAddress.h"
#include "box/services/support/FileAppearance.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// Whether a message bus is there, told in the log, and when to try one that is not: eight times
/// in quick succession, and anew whenever its socket appears in its folder.
///
/// Workflow: isDue() is true at first; an attempt follows each time that it is, from beginAttempt()
/// to didConnect() or didEnd(), which is also the end of a connection. Nothing runs by itself:
/// without a connection its owner polls descriptor() until deadline(), and asks isDue() again.
///
/// Threads: one at a time.
class BusPresence {
 public:
  /// `address` is a D-Bus address; `component` is that of the log's lines, and outlives it.
  BusPresence(BusKind kind, std::string address, std::string_view component);

  const std::string& address() const { return _address; }

  void beginAttempt();
  /// The bus has answered.
  void didConnect();
  /// A negative error number.
  void didEnd(int reason);

  /// Readable when isDue() is to be asked; -1 for nothing to wait for but the deadline.
  int descriptor() const { return _appearance ? _appearance->descriptor() : -1; }
  std::optional<platform::TimePoint> deadline() const { return _next; }
  bool isDue();

 private:
  const BusKind _kind;
  const std::string _address;
  const std::string _path;
  const std::string_view _component;
  /// From the beginning of the first attempt until the bus is there.
  std::unique_ptr<FileAppearance> _appearance;
  std::optional<platform::TimePoint> _next = platform::TimePoint{};
  int _attempts = 0;
  bool _isConnected = false;
  /// What the log was last told.
  std::optional<bool> _saidPresent;
};

}  // namespace box
