#include "receivers/upnp/device/AcceptedSockets.h"

namespace upnp {

namespace {

/// Longer than libsoup uses a socket after it was closed.
constexpr Clock::Duration kReleaseDelay{10000};

/// Of the references to a closed socket one is ours, and the other one the one that is left over.
bool isLeftOver(GSocket* socket) { return G_OBJECT(socket)->ref_count == 2; }

}  // namespace

AcceptedSockets::AcceptedSockets(Clock& clock)
    : _clock(clock), _isNeeded(!soup_check_version(3, 4, 0)) {}

void AcceptedSockets::note(SoupServerMessage* message) {
  GSocket* const socket = _isNeeded ? soup_server_message_get_socket(message) : nullptr;
  if (!socket) return;
  if (_sockets.find(socket) == _sockets.end()) {
    _sockets.emplace(socket, ObjectRef<GSocket>(G_SOCKET(g_object_ref(socket))));
  }
  if (!_timer) _timer = _clock.after(kReleaseDelay, [this] { _release(); });
}

void AcceptedSockets::_release() {
  _timer.reset();
  std::erase_if(_sockets, [](const auto& one) {
    GSocket* const socket = one.first;
    if (!g_socket_is_closed(socket)) return false;
    if (isLeftOver(socket)) g_object_unref(socket);
    return true;
  });
}

}  // namespace upnp
