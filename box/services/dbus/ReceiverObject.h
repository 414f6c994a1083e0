#pragma once

#include <memory>
#include <utility>

#include <systemd/sd-bus.h>

#include "box/services/dbus/Refusals.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/VorlaneReceiverUIDelegate.h"

namespace box {

/// The D-Bus interface of the receiver: parses a call, rejects it or passes it to the delegate, and
/// replies.
///
/// Wrong D-Bus signatures get a D-Bus error. Other rejected calls get a normal reply with an error
/// status, and a log line.
///
/// Threads: the server's.
class ReceiverObject {
 public:
  static constexpr const char* kInterface = "quorin.tvvorlane.Receiver1";

  explicit ReceiverObject(platform::MainQueue& mainQueue) : _mainQueue(mainQueue) {}

  /// For sd_bus_add_object_vtable(), with a Peer as its user data.
  static const sd_bus_vtable* vtable();

  /// Call it before the first D-Bus call.
  void setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate) {
    _delegate = std::move(delegate);
  }
  void setFatalActionCheck(FatalActionCheck check) { _fatalActionCheck = std::move(check); }

  std::shared_ptr<VorlaneReceiverUIDelegate> delegate() const { return _delegate.lock(); }
  /// Runs the fatal action check on the main thread.
  std::optional<Refusal> refusalOfAction(const std::string& action,
                                         const platform::Dictionary& params) const;

 private:
  platform::MainQueue& _mainQueue;
  std::weak_ptr<VorlaneReceiverUIDelegate> _delegate;
  FatalActionCheck _fatalActionCheck;
};

}  // namespace box
