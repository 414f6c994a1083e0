#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/services/door/Refusals.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/ReceiverServiceClient.h"
#include "platform/ui/scene/Press.h"

namespace box {

struct DoorOptions {
  enum class Bus { None, Session, System };

  /// Where the listening socket lies; empty: Door::defaultSocketPath().
  std::string socketPath;
  /// Which message bus the object is published on as well.
  Bus bus = Bus::None;

  // Bounds. A test shortens them.

  /// How long a peer may take to authenticate.
  platform::Duration authenticationLimit = std::chrono::seconds(5);
  /// How long a picture of the screen may take.
  platform::Duration screenshotLimit = std::chrono::seconds(3);
  /// What may wait for one peer to read it.
  std::size_t maximumQueuedMessages = 1024;
  std::size_t maximumQueuedBytes = std::size_t{64} << 20;
};

/// What the box's own interface needs of the box. Functions that are not set are answered with an
/// error.
struct BoxInterface {
  /// The remote, as if pressed; a button is held for so long, if at all, and at most a minute. Main
  /// thread; nobody waits for it.
  std::function<void(platform::InputEvent, platform::Duration held)> input;
  /// Takes a picture as PNG. Called on the main thread; the completion is called once, on any
  /// thread, with null when there is nothing to show. One that comes too late is ignored.
  std::function<void(std::function<void(std::shared_ptr<const platform::Bytes>)>)> screenshot;
  /// Main thread; the caller waits.
  std::function<platform::Dictionary()> status;
};

/// The door: the D-Bus object through which a receiver service, vorlanectl and other local programs
/// call the application.
///
/// It is served peer to peer on a Unix socket, so no bus daemon is needed, and on a message bus too
/// when the options ask for it. A peer has the process's user id, or is root.
///
/// Workflow: made on the main thread, given its hooks, then the application registers its delegate,
/// which opens the socket. error() tells whether that worked; without a door everything else goes
/// on. close() before the process ends.
///
/// Threads: every public operation belongs to the main thread, except postEvent(), which is called
/// on the delegate's queue. Sockets are polled, read and written on that queue's own thread and
/// nowhere else: a call runs where it was read. With nothing to do that thread sleeps without a
/// timeout.
///
/// Order: one call at a time; peers in the order in which their calls arrived. Events go to every
/// peer in the order of posting; those posted during a call follow its reply.
///
/// Bounds: 64 peers; what a peer leaves unread (see DoorOptions) costs it the connection and nobody
/// else anything; a message over 16 MiB or nested deeper than 32 is refused.
///
/// Lifetime: the main queue outlives the delegate's queue.
class Door final : public platform::ReceiverServiceClient {
 public:
  Door(platform::MainQueue& mainQueue, DoorOptions options);
  ~Door() override;
  Door(const Door&) = delete;
  Door& operator=(const Door&) = delete;

  /// `$XDG_RUNTIME_DIR/tvvorlane/receiver.sock`; without that variable under /run/user/UID, and
  /// where that does not exist, /tmp/tvvorlane-UID.
  static std::string defaultSocketPath();

  /// Before setDelegate().
  void setBoxInterface(BoxInterface box);
  /// Tells which actions must not reach the application. Called on the main thread. Before
  /// setDelegate(); without it no action is refused.
  void setFatalActionCheck(FatalActionCheck isFatal);

  void setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                   std::shared_ptr<platform::SerialQueue> queue) override;
  void postEvent(const char* name, const platform::Dictionary& info) override;

  /// What a peer is told that asks for the state of that name.
  void setNotificationState(std::string_view name, std::uint64_t state);
  /// Go to every peer, in order among themselves and with the events, once the delegate's queue is
  /// free. Neither waits. False once the door is closed.
  bool postNotification(std::string_view name);
  bool postDistributedNotification(std::string_view name, const platform::Dictionary& info);

  /// Calls `done` once what was posted so far has gone out, as far as the peers read it, on the
  /// delegate's queue; at once while there is none.
  void whenSent(std::function<void()> done);

  /// Why the socket could not be opened; nothing while it is open or was not asked for.
  const std::optional<platform::Error>& error() const;
  const std::string& socketPath() const;

  /// Removes the socket file, closes the peers and takes no more calls. Does not wait for a call
  /// that is under way. Safe to call twice.
  void close();

 private:
  class Loop;
  struct State;
  const std::unique_ptr<State> _state;
  const std::shared_ptr<Loop> _loop;
};

}  // namespace box
