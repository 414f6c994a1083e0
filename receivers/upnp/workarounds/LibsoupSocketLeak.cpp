#include "receivers/upnp/workarounds/LibsoupSocketLeak.h"

namespace upnp {

namespace {

/// Longer than libsoup uses a socket after it was closed.
constexpr Clock::Duration kReleaseDelay{10000};

/// Returns whether a closed socket has two references: that of LibsoupSocketLeak and the leaked
/// one.
bool isLeaked(GSocket* socket) { return G_OBJECT(socket)->ref_count == 2; }

}  // namespace

LibsoupSocketLeak::LibsoupSocketLeak(Clock& clock)
    : _clock(clock), _isNeeded(soup_get_major_version() == 3 && soup_get_minor_version() == 2) {}

void LibsoupSocketLeak::note(SoupServerMessage* message) {
  GSocket* const socket = _isNeeded ? soup_server_message_get_socket(message) : nullptr;
  if (!socket) return;
  if (_sockets.find(socket) == _sockets.end()) {
    _sockets.emplace(socket, ObjectRef<GSocket>(G_SOCKET(g_object_ref(socket))));
  }
  if (!_timer) _timer = _clock.after(kReleaseDelay, [this] { _release(); });
}

void LibsoupSocketLeak::_release() {
  _timer.reset();
  std::erase_if(_sockets, [](const auto& one) {
    GSocket* const socket = one.first;
    if (!g_socket_is_closed(socket)) return false;
    if (isLeaked(socket)) g_object_unref(socket);
    return true;
  });
}

}  // namespace upnp
