#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "box/services/bus/BusPresence.h"
#include "box/services/door/BoxObject.h"
#include "box/services/door/Door.h"
#include "box/services/door/Inbox.h"
#include "box/services/door/NotificationsObject.h"
#include "box/services/door/Peer.h"
#include "box/services/door/ReceiverObject.h"
#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/queues/Waiter.h"

namespace box {

/// How the delegate's queue sleeps: on the listening socket and the connections, serving what
/// comes.
///
/// One wait() serves one message at most, so that what was posted to the queue meanwhile, events
/// above all, comes before the next one. Connections that have something to say take turns in the
/// order in which they began to.
///
/// Threads: made and set up on the main thread; wait() and broadcast() on the queue's thread, which
/// alone touches connections; wake() and close() on any.
class Door::Loop final : public platform::Waiter {
 public:
  Loop(platform::MainQueue& mainQueue, DoorOptions options);
  ~Loop() override;

  /// First. False when the system has no descriptors left.
  bool prepare();
  /// Both before the first wait().
  void listen(FileDescriptor socket);
  /// From the first wait() on, if the options name a bus, whenever it is there.
  void connectToBus();

  ReceiverObject& receiver() { return _receiver; }
  BoxObject& box() { return _box; }
  NotificationsObject& notifications() { return _notifications; }

  void wait(std::optional<platform::TimePoint> deadline) override;
  void wake() override;
  /// The queue's thread then closes everything.
  void close();

  /// One of the door's signals. Each begins with a name; most have a dictionary behind it.
  struct Signal {
    const char* interface;
    const char* member;
    std::string name;
    std::optional<platform::Dictionary> info;
  };
  void broadcast(const Signal& signal);

 private:
  struct Connection {
    std::shared_ptr<Peer> peer;
    std::uint32_t interest = 0;
    bool isReady = false;  // stands in _turns
  };

  ServedObjects _objects() { return {_receiver, _box, _notifications}; }
  bool _watch(int descriptor, std::uint32_t interest, void* tag);
  bool _add(std::shared_ptr<Peer> peer);
  void _tryBus();
  void _accept();
  void _pauseListening();
  void _updateInterest(Connection& connection);
  void _giveTurn(Connection& connection);
  void _serveOne(platform::TimePoint now);
  void _expire(platform::TimePoint now);
  std::optional<platform::TimePoint> _deadline() const;
  void _poll(std::optional<platform::TimePoint> deadline);
  void _dropDoomed();
  void _closeAll();

  const DoorOptions _options;
  const std::shared_ptr<Inbox> _inbox = std::make_shared<Inbox>();
  ReceiverObject _receiver;
  BoxObject _box;
  NotificationsObject _notifications;

  FileDescriptor _epoll;
  std::atomic<bool> _closing = false;

  // The queue's thread only, after the set-up.
  FileDescriptor _listener;
  /// If the options name a bus.
  std::optional<BusPresence> _bus;
  bool _isOnBus = false;
  /// Set while there are no descriptors for another connection.
  std::optional<platform::TimePoint> _listensAgain;
  std::vector<std::unique_ptr<Connection>> _connections;
  std::deque<Connection*> _turns;
};

}  // namespace box
