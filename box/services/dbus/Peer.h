#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include <systemd/sd-bus.h>

#include "box/services/dbus/DBusServer.h"
#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

class BoxObject;
class NotificationsObject;
class ReceiverObject;

struct ServedObjects {
  ReceiverObject& receiver;
  BoxObject& box;
  NotificationsObject& notifications;
};

/// A D-Bus connection: a peer on the server's socket, or the message bus.
///
/// Workflow: poll descriptor() for interest() until deadline(), then call process(). Destroy the
/// object, which closes the connection, as soon as isClosing() is true.
///
/// Nothing blocks, with one exception: the first call of a sender over the message bus queries the
/// sender's user id from the bus, for at most kBusReplyTimeout.
///
/// Threads: the server's.
class Peer : public std::enable_shared_from_this<Peer> {
 public:
  enum class Kind { Socket, Bus };
  enum class Turn { Idle, Busy };

  /// Takes ownership of an accepted connection. Returns null if memory is exhausted.
  static std::shared_ptr<Peer> accept(FileDescriptor socket, ServedObjects objects,
                                      const DBusServerOptions& options, platform::TimePoint now);
  /// Connects to the message bus at `address` and requests the well-known name. On failure returns
  /// null and sets `result` to a negative errno.
  static std::shared_ptr<Peer> connect(const std::string& address, ServedObjects objects,
                                       const DBusServerOptions& options, platform::TimePoint now,
                                       int* result);

  Peer(Kind kind, sd_bus* bus, ServedObjects objects, const DBusServerOptions& options);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  int descriptor() const;
  std::uint32_t interest() const;
  /// When process() must be called at the latest.
  std::optional<platform::TimePoint> deadline() const;

  /// Handles one message, or one step of the authentication. Returns Busy if there may be more.
  Turn process(platform::TimePoint now);

  /// Sends or queues the message. `bytes`: its approximate size. Disconnects the peer if its queue
  /// exceeds the limits.
  void send(sd_bus_message* message, std::size_t bytes);

  /// Whether it is authenticated. Only then it gets signals.
  bool isReady() const { return _ready; }
  bool isClosing() const { return _closing; }
  /// Marks the connection for closing. `reason` is logged unless it is null.
  void closeLater(const char* reason);

  /// Whether the sender of `call` has permission. On a message bus, any user can send calls.
  bool authorizes(sd_bus_message* call);

  /// Whether the peer receives log lines.
  bool isTracing() const { return _tracing; }
  void setTracing(bool tracing) { _tracing = tracing; }

  Kind kind() const { return _kind; }
  sd_bus* bus() const { return _bus; }
  const ServedObjects& objects() const { return _objects; }

 private:
  bool _publish();
  void _requestName();
  void _checkQueue();

  const Kind _kind;
  sd_bus* const _bus;
  const ServedObjects _objects;
  const std::size_t _maximumQueuedMessages;
  const std::size_t _maximumQueuedBytes;
  std::optional<platform::TimePoint> _authenticationDeadline;
  bool _ready = false;
  bool _closing = false;
  bool _tracing = false;
  /// Sizes of the messages in the outgoing queue, oldest first, and their sum. Replies of sd-bus
  /// itself are not included; the limit on the number of messages covers them.
  std::deque<std::size_t> _queuedSizes;
  std::size_t _queuedBytes = 0;
  /// Results by unique name. A bus never reuses unique names.
  std::unordered_map<std::string, bool> _authorized;
};

}  // namespace box
