#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

#include "box/services/bus/BusPresence.h"
#include "box/services/support/ServiceThread.h"

namespace box {

/// A connection to a message bus that may be missing, end and return.
///
/// The object reconnects when BusPresence reports that the bus may be available.
///
/// Workflow: construct it, add clients, start it. A client registers its objects and matches in
/// busDidConnect() for each new connection, and drops them in busDidDisconnect().
///
/// Threads: the service thread, or any while that thread does not run. The clients must exist while
/// it runs.
class BusConnection final : private ServiceThread::Source {
 public:
  class Client {
   public:
    virtual ~Client() = default;
    virtual void busDidConnect(sd_bus* bus) = 0;
    /// Drop the slots of the connection here. Nothing can be sent any more.
    virtual void busDidDisconnect() = 0;
  };

  /// `thread` must outlive this object. `address` is a D-Bus address.
  BusConnection(ServiceThread& thread, BusKind kind, std::string address);
  ~BusConnection() override;
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  /// Call it before start(). Clients are notified in this order.
  void addClient(Client& client) { _clients.push_back(&client); }
  void start();
  /// Disconnects permanently and notifies the clients.
  void close();

 private:
  struct BusClose {
    void operator()(sd_bus* bus) const;
  };

  int descriptor() const override;
  short interest() const override;
  std::optional<platform::TimePoint> deadline() const override;
  void serve() override;

  void _connect();
  /// Returns 0 or a negative errno.
  int _open();
  void _didBecomeReady();
  void _didEnd(int reason);

  ServiceThread& _thread;
  BusPresence _presence;
  std::vector<Client*> _clients;

  std::unique_ptr<sd_bus, BusClose> _bus;
  platform::Token _source;
  bool _isReady = false;
  /// The last process() call handled a message, so there may be more.
  bool _isBusy = false;
};

}  // namespace box
