#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include <systemd/sd-bus.h>

#include "box/services/dbus/DBusServer.h"
#include "box/services/dbus/Inbox.h"
#include "platform/foundation/Bytes.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"

namespace box {

class Peer;

/// The D-Bus interface of the box itself: remote control input, screenshots and status. A call that
/// cannot be served gets a D-Bus error.
///
/// Screenshot replies asynchronously; other calls are served meanwhile.
///
/// Threads: the server's. The functions of BoxInterface run on the main thread, and not after
/// close().
class BoxObject {
 public:
  static constexpr const char* kInterface = "quorin.tvvorlane.Box1";
  using Picture = std::shared_ptr<const platform::Bytes>;

  /// `inbox`: the inbox of the server's thread. It must be closed before this object is destroyed.
  BoxObject(platform::MainQueue& mainQueue, platform::Duration screenshotLimit,
            std::shared_ptr<Inbox> inbox);
  ~BoxObject();
  BoxObject(const BoxObject&) = delete;
  BoxObject& operator=(const BoxObject&) = delete;

  /// For sd_bus_add_object_vtable(), with a Peer as its user data.
  static const sd_bus_vtable* vtable();

  /// Call it before the first D-Bus call.
  void setInterface(BoxInterface box);
  /// `changed` is called when a peer starts or stops tracing.
  void setTraceHandler(std::function<void()> changed) { _traceChanged = std::move(changed); }
  /// Main thread: releases the functions of BoxInterface.
  void close();

  std::optional<platform::TimePoint> deadline() const;
  /// Replies with an error to the screenshot calls whose deadline is not after `now`.
  void expire(platform::TimePoint now);
  /// Drops all pending screenshot calls without a reply.
  void dropPending();

  // Method calls.
  int input(sd_bus_message* call, Peer& peer, platform::InputEvent event,
            platform::Duration held = {});
  int screenshot(sd_bus_message* call, Peer& peer);
  int status(sd_bus_message* call, Peer& peer);
  int trace(sd_bus_message* call, Peer& peer, bool on);

 private:
  struct Functions;
  struct PendingScreenshot {
    sd_bus_message* call;
    std::weak_ptr<Peer> peer;
    platform::TimePoint deadline;
  };

  void _finish(std::uint64_t number, const Picture& picture);

  platform::MainQueue& _mainQueue;
  const platform::Duration _screenshotLimit;
  const std::shared_ptr<Inbox> _inbox;
  const std::shared_ptr<Functions> _functions;
  // Set before the first call, so that the server's thread can read them without a lock.
  bool _hasInput = false;
  bool _hasScreenshot = false;
  bool _hasStatus = false;
  std::function<void()> _traceChanged;
  std::uint64_t _nextNumber = 0;
  /// Pending screenshot calls by number, and therefore by deadline.
  std::map<std::uint64_t, PendingScreenshot> _pending;
};

}  // namespace box
