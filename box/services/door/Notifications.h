#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "box/services/door/Door.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/SystemServices.h"

namespace box {

/// Named notifications for this process and for every peer of the door.
///
/// A post reaches this process's observers on the next turn of the main queue, and the peers from
/// the door's own thread, in the order of posting. Nobody is waited for. A state is readable at the
/// door as soon as it is set, so that whoever hears of a change and asks gets that state or a later
/// one.
///
/// Threads: main.
class SystemNotifications final : public platform::SystemNotificationService {
 public:
  /// Both outlive it.
  SystemNotifications(platform::MainQueue& mainQueue, Door& door)
      : _mainQueue(mainQueue), _door(door) {}

  /// Never none. The state is 0 until it is set.
  std::optional<std::int32_t> registerStateToken(std::string_view name) override;
  /// False for a token that was never given out.
  bool setState(std::int32_t token, std::uint64_t state) override;
  /// False once the door is closed.
  bool post(std::string_view name) override;
  platform::Token addObserver(std::string_view name, std::function<void()> callback) override;

 private:
  platform::MainQueue& _mainQueue;
  Door& _door;
  // Shared with what is on its way.
  const std::shared_ptr<platform::NotificationCenter> _observers =
      std::make_shared<platform::NotificationCenter>();
  std::vector<std::string> _names;  // by token
};

/// Notifications with an info dictionary, for every peer of the door. Threads: main.
class DistributedNotifications final : public platform::DistributedNotificationCenter {
 public:
  /// `door` outlives it.
  explicit DistributedNotifications(Door& door) : _door(door) {}
  void post(std::string_view name, const platform::Dictionary& info) override;

 private:
  Door& _door;
};

}  // namespace box
