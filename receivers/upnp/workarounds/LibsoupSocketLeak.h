#pragma once

#include <map>

#include <libsoup/soup.h>

#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// Fault: a SoupServer never releases the socket of a connection.
///
/// Library: libsoup 3.2 (Debian 12). 3.6 releases it. No upstream report known.
/// Without it: about 340 bytes are leaked for each connection of a controller.
/// Test: LibsoupSocketLeak_test.cpp.
/// Delete it when Debian 12 is not supported any more.
///
/// Releases sockets 10 s after they were closed, if nothing else refers to them. Other versions of
/// libsoup are left alone.
class LibsoupSocketLeak {
 public:
  explicit LibsoupSocketLeak(Clock& clock);

  /// A request has arrived.
  void note(SoupServerMessage* message);
  std::size_t count() const { return _sockets.size(); }

 private:
  void _release();

  Clock& _clock;
  const bool _isNeeded;
  std::map<GSocket*, ObjectRef<GSocket>> _sockets;
  Clock::Timer _timer;
};

}  // namespace upnp
