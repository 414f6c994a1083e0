#pragma once

#include <systemd/sd-bus.h>

#include "box/services/door/Peer.h"
#include "box/services/door/ValueWriter.h"

namespace box {

/// The peer that called, from the user data of an object's vtable.
inline Peer& peerOf(void* userData) { return *static_cast<Peer*>(userData); }

/// The answer to a call that Peer::admits() does not admit.
inline int answerForbidden(sd_bus_message* call) {
  return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "Another user may not call");
}

/// The reply to one call: arguments are appended to it, then it is sent, or dropped with this
/// object.
///
/// Handlers of calls return what send() returns: 1, or a negative errno that sd-bus turns into an
/// error reply.
class Reply {
 public:
  explicit Reply(sd_bus_message* call)
      : _wanted(sd_bus_message_get_expect_reply(call) != 0),
        _error(sd_bus_message_new_method_return(call, &_message)),
        _arguments(_message) {}
  ~Reply() { sd_bus_message_unref(_message); }
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;

  ValueWriter* operator->() { return &_arguments; }

  int send(Peer& peer) {
    if (_error < 0) return _error;
    if (_arguments.error() < 0) return _arguments.error();
    if (_wanted) peer.send(_message, _arguments.bytes());
    return 1;
  }

 private:
  sd_bus_message* _message = nullptr;
  const bool _wanted;
  const int _error;
  ValueWriter _arguments;
};

}  // namespace box
