#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include <systemd/sd-bus.h>

#include "box/services/door/Door.h"
#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

class BoxObject;
class NotificationsObject;
class ReceiverObject;

/// What every connection serves.
struct ServedObjects {
  ReceiverObject& receiver;
  BoxObject& box;
  NotificationsObject& notifications;
};

/// One connection: a peer on the door's socket, or the message bus.
///
/// Workflow: made, watched by whoever polls descriptor() for interest() and deadline(), and given a
/// turn by process() when one of them is due. Once isDoomed() it is to be destroyed; that closes
/// it.
///
/// Nothing here blocks, except that a call over the message bus asks the bus for its sender's user
/// id; one that hangs is waited for no longer than kBusAnswerLimit.
///
/// Threads: the door's.
class Peer : public std::enable_shared_from_this<Peer> {
 public:
  enum class Kind { Socket, Bus };
  enum class Turn { Idle, Busy };

  /// Takes over a connection that was accepted. Null when there is no memory for it.
  static std::shared_ptr<Peer> accept(FileDescriptor socket, ServedObjects objects,
                                      const DoorOptions& options, platform::TimePoint now);
  /// Connects to the message bus at that address and asks for the well-known name. Null without a
  /// bus, with a negative error number in `result`.
  static std::shared_ptr<Peer> connect(const std::string& address, ServedObjects objects,
                                       const DoorOptions& options, platform::TimePoint now,
                                       int* result);

  Peer(Kind kind, sd_bus* bus, ServedObjects objects, const DoorOptions& options);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  int descriptor() const;
  /// The poll events to wait for.
  std::uint32_t interest() const;
  /// When it needs a turn at the latest.
  std::optional<platform::TimePoint> deadline() const;

  /// Handles one message, or one step of the connection. Busy: there may be more.
  Turn process(platform::TimePoint now);

  /// Sends, or queues what the socket does not take; ends the message's life here. `bytes` is about
  /// its size. Too much in the queue dooms the peer.
  void send(sd_bus_message* message, std::size_t bytes);

  /// Whether it has authenticated, and so gets events.
  bool isReady() const { return _ready; }
  bool isDoomed() const { return _doomed; }
  /// Ends it, with the reason for the log; a null reason is an ordinary end.
  void doom(const char* reason);

  /// Whether the sender of a call may call: on a bus anybody can address the door.
  bool admits(sd_bus_message* call);

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
  bool _doomed = false;
  /// Sizes of the messages in the outgoing queue, oldest first, and their sum. Replies that the
  /// library makes itself are missing, which the count of messages bounds.
  std::deque<std::size_t> _queuedSizes;
  std::size_t _queuedBytes = 0;
  /// Unique names on the bus are never given twice.
  std::unordered_map<std::string, bool> _admitted;
};

}  // namespace box
