#pragma once

#include <map>

#include <libsoup/soup.h>

#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// A workaround for libsoup 3.2 (Debian 12): its server never releases the socket of a connection,
/// which is about 340 bytes for each connection of a controller. Releases these sockets some time
/// after they were closed. Does nothing with later versions of libsoup.
class AcceptedSockets {
 public:
  explicit AcceptedSockets(Clock& clock);

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
