#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "box/services/dbus/DBusServer.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/SystemServices.h"

namespace box {

/// Named notifications for this process and for every peer of the D-Bus server.
///
/// post() reaches the observers in this process in a task of the main queue, and the peers from the
/// server's thread, in the order of posting. It does not block. setState() takes effect
/// immediately, so a peer that calls GetState after a notification gets that state or a later one.
///
/// Thread: main.
class SystemNotifications final : public platform::SystemNotificationService {
 public:
  /// Both must outlive this object.
  SystemNotifications(platform::MainQueue& mainQueue, DBusServer& server)
      : _mainQueue(mainQueue), _dbusServer(server) {}

  /// Always returns a token. The state is 0 until it is set.
  std::optional<std::int32_t> registerStateToken(std::string_view name) override;
  /// Returns false for an unknown token.
  bool setState(std::int32_t token, std::uint64_t state) override;
  /// Returns false after the server was closed.
  bool post(std::string_view name) override;
  platform::Token addObserver(std::string_view name, std::function<void()> callback) override;

 private:
  platform::MainQueue& _mainQueue;
  DBusServer& _dbusServer;
  // Shared with tasks in the main queue.
  const std::shared_ptr<platform::NotificationCenter> _observers =
      std::make_shared<platform::NotificationCenter>();
  std::vector<std::string> _names;  // by token
};

/// Notifications with an info dictionary for every peer of the D-Bus server. Thread: main.
class DistributedNotifications final : public platform::DistributedNotificationCenter {
 public:
  /// `server` must outlive this object.
  explicit DistributedNotifications(DBusServer& server) : _dbusServer(server) {}
  void post(std::string_view name, const platform::Dictionary& info) override;

 private:
  DBusServer& _dbusServer;
};

}  // namespace box
