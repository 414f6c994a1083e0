#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/SystemServices.h"
#include "sim/Journal.h"

namespace sim {

/// System-wide notifications with a single process. A test posts those of other processes. Main
/// thread.
class SystemNotificationService final : public platform::SystemNotificationService {
 public:
  SystemNotificationService(platform::MainQueue& mainQueue, Journal& journal)
      : _mainQueue(mainQueue), _journal(journal) {}

  /// Journal: `systemNotifications.registerStateToken(name)`, with ` failed` appended on failure.
  std::optional<std::int32_t> registerStateToken(std::string_view name) override;
  /// Journal: `systemNotifications.setState(name, 1)`. Returns false for an unknown token.
  bool setState(std::int32_t token, std::uint64_t state) override;
  /// Journal: `systemNotifications.post(name)`, with ` failed` appended on failure.
  bool post(std::string_view name) override;
  platform::Token addObserver(std::string_view name, std::function<void()> callback) override;

  void setRegistrationFails(bool fails) { _registrationFails = fails; }
  void setPostFails(std::string_view name, bool fails = true);
  /// Posts a notification as another process would. Observers are called on the next turn.
  void deliver(std::string_view name);
  /// The state that another process would read.
  std::optional<std::uint64_t> state(std::string_view name) const;

 private:
  platform::MainQueue& _mainQueue;
  Journal& _journal;
  // Shared with pending notifications.
  std::shared_ptr<platform::NotificationCenter> _observers =
      std::make_shared<platform::NotificationCenter>();
  bool _registrationFails = false;
  std::set<std::string, std::less<>> _failingPosts;
  std::vector<std::string> _names;  // by token
  std::map<std::string, std::uint64_t, std::less<>> _states;
};

class DistributedNotificationCenter final : public platform::DistributedNotificationCenter {
 public:
  explicit DistributedNotificationCenter(Journal& journal) : _journal(journal) {}
  void post(std::string_view name, const platform::Dictionary& info) override;
  const std::vector<std::pair<std::string, platform::Dictionary>>& posted() const {
    return _posted;
  }

 private:
  Journal& _journal;
  std::vector<std::pair<std::string, platform::Dictionary>> _posted;
};

}  // namespace sim
