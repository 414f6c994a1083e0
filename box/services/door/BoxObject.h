#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include <systemd/sd-bus.h>

#include "box/services/door/Door.h"
#include "box/services/door/Inbox.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"

namespace box {

class Peer;

/// The box's own interface on the bus: the remote, pictures of the screen, and the box's state.
/// What it cannot do is answered with a D-Bus error.
///
/// A picture is answered when it is there; other calls go on meanwhile.
///
/// Threads: the door's. The box's functions run on the main thread, and no more once close() was
/// called there.
class BoxObject {
 public:
  static constexpr const char* kInterface = "quorin.tvvorlane.Box1";
  using Picture = std::shared_ptr<const platform::Bytes>;

  /// `inbox`: that of the door's thread, closed before this object dies.
  BoxObject(platform::MainQueue& mainQueue, platform::Duration screenshotLimit,
            std::shared_ptr<Inbox> inbox);
  ~BoxObject();
  BoxObject(const BoxObject&) = delete;
  BoxObject& operator=(const BoxObject&) = delete;

  /// For sd_bus_add_object_vtable(), with a Peer as its user data.
  static const sd_bus_vtable* vtable();

  /// Before the first call.
  void setInterface(BoxInterface box);
  /// On the main thread: forgets the box's functions.
  void close();

  /// When the oldest picture is overdue.
  std::optional<platform::TimePoint> deadline() const;
  /// Answers what is overdue at `now`.
  void expire(platform::TimePoint now);
  /// Forgets the pictures that are under way.
  void abandon();

  // The calls.
  int input(sd_bus_message* call, Peer& peer, platform::InputEvent event,
            platform::Duration held = {});
  int screenshot(sd_bus_message* call, Peer& peer);
  int status(sd_bus_message* call, Peer& peer);

 private:
  struct Functions;
  struct Waiting {
    sd_bus_message* call;
    std::weak_ptr<Peer> peer;
    platform::TimePoint deadline;
  };

  void _finish(std::uint64_t number, const Picture& picture);

  platform::MainQueue& _mainQueue;
  const platform::Duration _screenshotLimit;
  const std::shared_ptr<Inbox> _inbox;
  const std::shared_ptr<Functions> _functions;
  /// Set before the first call, so that a call needs not ask the main thread.
  bool _takesInput = false;
  bool _takesPictures = false;
  bool _givesStatus = false;
  std::uint64_t _nextNumber = 0;
  /// In the order of their deadlines, which all lie equally far ahead.
  std::map<std::uint64_t, Waiting> _waiting;
};

}  // namespace box
