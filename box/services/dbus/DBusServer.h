#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/services/dbus/Refusals.h"
#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/ReceiverServiceClient.h"
#include "platform/ui/scene/Press.h"

namespace box {

struct DBusServerOptions {
  enum class Bus { None, Session, System };

  /// Path of the listening socket; empty: DBusServer::defaultSocketPath().
  std::string socketPath;
  /// Message bus on which the objects are published too.
  Bus bus = Bus::None;

  // Limits.

  platform::Duration authenticationLimit = std::chrono::seconds(5);
  platform::Duration screenshotLimit = std::chrono::seconds(10);
  /// Limits of the outgoing queue of one peer.
  std::size_t maximumQueuedMessages = 1024;
  std::size_t maximumQueuedBytes = std::size_t{64} << 20;
};

/// The functions behind the interface quorin.tvvorlane.Box1. A call whose function is not set gets
/// a D-Bus error.
struct BoxInterface {
  /// Handles a press or a swipe. `held`: how long the button is held, at most a minute. Called on
  /// the main thread; the D-Bus call does not wait for it.
  std::function<void(platform::InputEvent, platform::Duration held)> input;
  /// Takes a screenshot as PNG. Called on the main thread. The completion may be called on any
  /// thread; null means that nothing is shown. A completion after the timeout is ignored.
  std::function<void(std::function<void(std::shared_ptr<const platform::Bytes>)>)> screenshot;
  /// Called on the main thread; the D-Bus call waits for it.
  std::function<platform::Dictionary()> status;
};

/// The D-Bus server. Receiver services, vorlanectl and other local programs call the application
/// through its object.
///
/// It listens on a Unix socket for peer-to-peer connections, which need no bus daemon. The options
/// can publish the object on a message bus too. Callers must have the user id of this process or be
/// root.
///
/// Workflow: construct it on the main thread and set the functions. Setting the delegate opens the
/// socket; error() returns whether that failed. The application works without the server too. Call
/// close() before the process ends.
///
/// Threads: all public functions belong to the main thread, except postEvent(), which belongs to
/// the delegate's queue. The thread of that queue polls, reads and writes the sockets and runs the
/// calls. It sleeps without a timeout while it has nothing to do.
///
/// Order: calls are served one at a time, in order of arrival across peers. Every peer gets the
/// events in the order of posting. Events posted during a call are sent after its reply.
///
/// Limits: 64 peers. A peer that exceeds the outgoing queue of DBusServerOptions is disconnected. A
/// message over 16 MiB or nested deeper than 32 is rejected.
///
/// Lifetime: the main queue must outlive the delegate's queue.
class DBusServer final : public platform::ReceiverServiceClient {
 public:
  DBusServer(platform::MainQueue& mainQueue, DBusServerOptions options);
  ~DBusServer() override;
  DBusServer(const DBusServer&) = delete;
  DBusServer& operator=(const DBusServer&) = delete;

  /// `$XDG_RUNTIME_DIR/tvvorlane/receiver.sock`. Without that variable, below /run/user/UID, or
  /// below /tmp/tvvorlane-UID if that does not exist.
  static std::string defaultSocketPath();

  /// Call it before setDelegate().
  void setBoxInterface(BoxInterface box);
  /// Sets the function that detects actions which would block or abort the application. It is
  /// called on the main thread. Call it before setDelegate(). Without it no action is rejected.
  void setFatalActionCheck(FatalActionCheck isFatal);

  void setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                   std::shared_ptr<platform::SerialQueue> queue) override;
  void postEvent(const char* name, const platform::Dictionary& info) override;

  /// Sets the state that GetState returns for `name`.
  void setNotificationState(std::string_view name, std::uint64_t state);
  /// Send a signal to every peer from the delegate's queue, in order with the events. They do not
  /// block. They return false after close().
  bool postNotification(std::string_view name);
  bool postDistributedNotification(std::string_view name, const platform::Dictionary& info);

  /// Calls `done` on the delegate's queue after everything posted so far was written to the sockets
  /// or their outgoing queues. Without a delegate, calls it at once.
  void callAfterSending(std::function<void()> done);

  /// Why the socket could not be opened; nothing if it is open or setDelegate() was not called.
  const std::optional<platform::Error>& error() const;
  const std::string& socketPath() const;

  /// Removes the socket file, disconnects the peers and serves no more calls. Does not wait for a
  /// running call. May be called twice.
  void close();

 private:
  class Loop;
  struct State;
  const std::unique_ptr<State> _state;
  const std::shared_ptr<Loop> _loop;
};

}  // namespace box
