#include "sim/Notifications.h"

namespace sim {

std::optional<std::int32_t> SystemNotificationService::registerStateToken(std::string_view name) {
  const std::string entry = "systemNotifications.registerStateToken(" + std::string(name) + ")";
  if (_registrationFails) {
    _journal.add(entry + " failed");
    return std::nullopt;
  }
  _journal.add(entry);
  _names.emplace_back(name);
  return static_cast<std::int32_t>(_names.size() - 1);
}

bool SystemNotificationService::setState(std::int32_t token, std::uint64_t state) {
  if (token < 0 || static_cast<std::size_t>(token) >= _names.size()) return false;
  const std::string& name = _names[static_cast<std::size_t>(token)];
  _journal.add("systemNotifications.setState(" + name + ", " + std::to_string(state) + ")");
  _states.insert_or_assign(name, state);
  return true;
}

bool SystemNotificationService::post(std::string_view name) {
  const std::string entry = "systemNotifications.post(" + std::string(name) + ")";
  if (_failingPosts.contains(name)) {
    _journal.add(entry + " failed");
    return false;
  }
  _journal.add(entry);
  deliver(name);
  return true;
}

void SystemNotificationService::deliver(std::string_view name) {
  _mainQueue.async([observers = _observers, name = std::string(name)] { observers->post(name); });
}

platform::Token SystemNotificationService::addObserver(std::string_view name,
                                                       std::function<void()> callback) {
  return _observers->addObserver(
      name, nullptr,
      [callback = std::move(callback)](const platform::Notification&) { callback(); });
}

void SystemNotificationService::setPostFails(std::string_view name, bool fails) {
  if (fails) {
    _failingPosts.emplace(name);
  } else {
    _failingPosts.erase(std::string(name));
  }
}

std::optional<std::uint64_t> SystemNotificationService::state(std::string_view name) const {
  const auto found = _states.find(name);
  if (found == _states.end()) return std::nullopt;
  return found->second;
}

void DistributedNotificationCenter::post(std::string_view name, const platform::Dictionary& info) {
  _journal.add("distributedNotifications.post(" + std::string(name) + ")");
  _posted.emplace_back(name, info);
}

}  // namespace sim
