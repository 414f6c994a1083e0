#include "receivers/upnp/device/ConnectionLimit.h"

#include <algorithm>
#include <utility>

#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/device/Log.h"

namespace upnp {

namespace {

constexpr std::size_t kMaximumConnections = 256;
/// Several controllers may run on one host, and some open a connection for each request.
constexpr std::ptrdiff_t kMaximumConnectionsOfHost = 64;

}  // namespace

ConnectionLimit::Connection::Connection(GSocket* accepted, std::string remote)
    : socket(accepted), host(std::move(remote)) {
  g_object_add_weak_pointer(G_OBJECT(socket), reinterpret_cast<gpointer*>(&socket));
}

ConnectionLimit::Connection::~Connection() {
  if (socket) {
    g_object_remove_weak_pointer(G_OBJECT(socket), reinterpret_cast<gpointer*>(&socket));
  }
}

void ConnectionLimit::note(SoupServerMessage* message) {
  std::erase_if(_connections, [](const Connection& one) {
    return !one.socket || g_socket_is_closed(one.socket);
  });
  GSocket* const socket = soup_server_message_get_socket(message);
  const bool isKnown = std::any_of(_connections.begin(), _connections.end(),
                                   [&](const Connection& one) { return one.socket == socket; });
  if (!socket || isKnown) return;
  _connections.emplace_back(socket, textOf(soup_server_message_get_remote_host(message)));
  const std::string& host = _connections.back().host;
  const auto isOfHost = [&](const Connection& one) { return one.host == host; };
  if (std::count_if(_connections.begin(), _connections.end(), isOfHost) >
      kMaximumConnectionsOfHost) {
    _closeOldest(std::find_if(_connections.begin(), _connections.end(), isOfHost));
  } else if (_connections.size() > kMaximumConnections) {
    _closeOldest(_connections.begin());
  }
}

void ConnectionLimit::_closeOldest(std::list<Connection>::iterator connection) {
  trace("Too many connections: closes the oldest of " + connection->host);
  // libsoup reads the end of the stream, and closes the socket.
  g_socket_shutdown(connection->socket, TRUE, TRUE, nullptr);
  _connections.erase(connection);
}

}  // namespace upnp
