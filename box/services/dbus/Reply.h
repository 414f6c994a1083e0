#pragma once

#include <systemd/sd-bus.h>

#include "box/services/dbus/Peer.h"
#include "box/services/dbus/ValueWriter.h"

namespace box {

inline Peer& peerOf(void* userData) { return *static_cast<Peer*>(userData); }

/// The error reply to a call that Peer::authorizes() rejects.
inline int replyAccessDenied(sd_bus_message* call) {
  return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED,
                                    "Only the user of this process and root may call");
}

/// A method return message. Append arguments, then call send(). Without send() the message is
/// dropped.
///
/// Method handlers return the result of send(): 1, or a negative errno that sd-bus converts to an
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
