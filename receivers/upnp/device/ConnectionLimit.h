#pragma once

#include <list>
#include <string>

#include <libsoup/soup.h>

namespace upnp {

/// Bounds the open connections of controllers. A SoupServer stops accepting connections when the
/// process has no free descriptor, and does not start again.
class ConnectionLimit {
 public:
  ConnectionLimit() = default;
  ConnectionLimit(const ConnectionLimit&) = delete;
  ConnectionLimit& operator=(const ConnectionLimit&) = delete;

  /// A request has started, maybe on a new connection. Closes the oldest connection of the host, or
  /// of all hosts, if there are too many.
  void note(SoupServerMessage* message);

 private:
  /// A connection that is destroyed has no socket any more.
  struct Connection {
    Connection(GSocket* accepted, std::string remote);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();
    GSocket* socket;
    const std::string host;
  };

  void _closeOldest(std::list<Connection>::iterator connection);

  std::list<Connection> _connections;
};

}  // namespace upnp
