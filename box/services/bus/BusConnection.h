#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

#include "box/services/bus/BusPresence.h"
#include "box/services/support/ServiceThread.h"

namespace box {

/// This process on a message bus that comes and goes.
///
/// One that ends is let go and taken up again when it is back; BusPresence has when that is tried.
///
/// Workflow: made, given its clients, started. A client sets itself up in busDidConnect() with the
/// bus it is given, anew each time, and forgets everything of it in busDidDisconnect().
///
/// Threads: the service thread, or while that does not run. The clients outlive its run.
class BusConnection final : private ServiceThread::Source {
 public:
  class Client {
   public:
    virtual ~Client() = default;
    virtual void busDidConnect(sd_bus* bus) = 0;
    /// Slots of that bus are dropped here; nothing can be sent any more.
    virtual void busDidDisconnect() = 0;
  };

  /// `thread` outlives it. `address` is a D-Bus address.
  BusConnection(ServiceThread& thread, BusKind kind, std::string address);
  ~BusConnection() override;
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  /// Before start(). In the order in which they are told.
  void addClient(Client& client) { _clients.push_back(&client); }
  void start();
  /// Ends it for good; the clients are told.
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
  /// Negative: an error number.
  int _open();
  void _didBecomeReady();
  void _didEnd(int reason);

  ServiceThread& _thread;
  BusPresence _presence;
  std::vector<Client*> _clients;

  std::unique_ptr<sd_bus, BusClose> _bus;
  platform::Token _source;
  bool _isReady = false;
  /// The last turn handled something, so there may be more.
  bool _isBusy = false;
};

}  // namespace box
