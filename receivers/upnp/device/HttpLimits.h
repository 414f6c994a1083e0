#pragma once

#include <libsoup/soup.h>

#include "receivers/upnp/device/ConnectionLimit.h"
#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/model/Subscriptions.h"
#include "receivers/upnp/workarounds/LibsoupSocketLeak.h"

namespace upnp {

/// Refuses requests before GUPnP sees them: bodies that are too long, subscriptions that are too
/// many, and subscriptions whose events would go to another host than the subscriber's. Bounds the
/// connections.
class HttpLimits {
 public:
  HttpLimits(SoupServer* server, Clock& clock, Subscriptions& subscriptions);
  HttpLimits(const HttpLimits&) = delete;
  HttpLimits& operator=(const HttpLimits&) = delete;
  ~HttpLimits();

 private:
  static void _started(SoupServer*, SoupServerMessage* message, gpointer data);
  static void _gotHeaders(SoupServerMessage* message, gpointer data);
  static void _gotChunk(SoupServerMessage* message, GBytes* chunk, gpointer data);
  static void _wroteHeaders(SoupServerMessage* message, gpointer data);

  ObjectRef<SoupServer> _server;
  Subscriptions& _subscriptions;
  ConnectionLimit _connections;
  LibsoupSocketLeak _sockets;
};

}  // namespace upnp
