#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "box/services/bus/BusPresence.h"
#include "box/services/dbus/BoxObject.h"
#include "box/services/dbus/DBusServer.h"
#include "box/services/dbus/Inbox.h"
#include "box/services/dbus/LogForwarder.h"
#include "box/services/dbus/NotificationsObject.h"
#include "box/services/dbus/Peer.h"
#include "box/services/dbus/ReceiverObject.h"
#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/queues/Waiter.h"

namespace box {

/// The waiter of the delegate's queue: polls the listening socket and the connections, and serves
/// calls.
///
/// One wait() serves at most one message. Tasks that were posted to the queue meanwhile, such as
/// events, therefore run before the next message. Ready connections are served round-robin.
///
/// Threads: constructed and set up on the main thread; wait() and broadcast() run on the queue's
/// thread. Only that thread uses connections. wake() and close() are thread-safe.
class DBusServer::Loop final : public platform::Waiter {
 public:
  Loop(platform::MainQueue& mainQueue, DBusServerOptions options);
  ~Loop() override;

  /// Call it first. Returns false if no file descriptor is available.
  bool prepare();
  /// Call it before the first wait().
  void listen(FileDescriptor socket);
  /// Call it before the first wait(). Connects to the message bus of the options whenever that bus
  /// is available.
  void connectToBus();

  ReceiverObject& receiver() { return _receiver; }
  BoxObject& box() { return _box; }
  NotificationsObject& notifications() { return _notifications; }

  void wait(std::optional<platform::TimePoint> deadline) override;
  void wake() override;
  /// Makes the queue's thread close all connections.
  void close();

  /// A D-Bus signal. The first argument is `name`, the second one, if set, `info`.
  struct Signal {
    const char* interface;
    const char* member;
    std::string name;
    std::optional<platform::Dictionary> info;
    bool isTrace = false;  ///< sent to tracing peers only
  };
  void broadcast(const Signal& signal);

 private:
  struct Connection {
    std::shared_ptr<Peer> peer;
    std::uint32_t interest = 0;
    bool isReady = false;  // is in _readyConnections
  };

  ServedObjects _objects() { return {_receiver, _box, _notifications}; }
  bool _watch(int descriptor, std::uint32_t interest, void* tag);
  bool _add(std::shared_ptr<Peer> peer);
  void _connectToBusIfDue();
  void _accept();
  void _pauseAccepting();
  void _updateInterest(Connection& connection);
  void _enqueue(Connection& connection);
  void _serveOne(platform::TimePoint now);
  void _expire(platform::TimePoint now);
  std::optional<platform::TimePoint> _deadline() const;
  void _poll(std::optional<platform::TimePoint> deadline);
  void _removeClosing();
  void _updateTrace();
  void _sendLogLines();
  void _closeAll();

  const DBusServerOptions _options;
  const std::shared_ptr<Inbox> _inbox = std::make_shared<Inbox>();
  ReceiverObject _receiver;
  BoxObject _box;
  NotificationsObject _notifications;

  FileDescriptor _epoll;
  std::atomic<bool> _closing = false;

  // Used by the queue's thread only, after the setup.
  FileDescriptor _listener;
  /// Set if the options name a bus.
  std::optional<BusPresence> _bus;
  bool _isOnBus = false;
  /// When accept() is tried again. Set while no file descriptor is available.
  std::optional<platform::TimePoint> _acceptRetryTime;
  /// A sink of the log while a peer is tracing.
  std::shared_ptr<LogForwarder> _logForwarder;
  std::vector<std::unique_ptr<Connection>> _connections;
  std::deque<Connection*> _readyConnections;
};

}  // namespace box
