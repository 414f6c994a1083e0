#include "box/services/dbus/Notifications.h"

#include <utility>

namespace box {

std::optional<std::int32_t> SystemNotifications::registerStateToken(std::string_view name) {
  _names.emplace_back(name);
  return static_cast<std::int32_t>(_names.size() - 1);
}

bool SystemNotifications::setState(std::int32_t token, std::uint64_t state) {
  if (token < 0 || static_cast<std::size_t>(token) >= _names.size()) return false;
  _dbusServer.setNotificationState(_names[static_cast<std::size_t>(token)], state);
  return true;
}

bool SystemNotifications::post(std::string_view name) {
  if (!_dbusServer.postNotification(name)) return false;
  _mainQueue.async([observers = _observers, name = std::string(name)] { observers->post(name); });
  return true;
}

platform::Token SystemNotifications::addObserver(std::string_view name,
                                                 std::function<void()> callback) {
  return _observers->addObserver(
      name, nullptr,
      [callback = std::move(callback)](const platform::Notification&) { callback(); });
}

void DistributedNotifications::post(std::string_view name, const platform::Dictionary& info) {
  _dbusServer.postDistributedNotification(name, info);
}

}  // namespace box
