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

/// System-wide notifications of a system with one process, and whatever a test posts from outside.
///
/// Threads: main.
class SystemNotificationService final : public platform::SystemNotificationService {
 public:
  SystemNotificationService(platform::MainQueue& mainQueue, Journal& journal)
      : _mainQueue(mainQueue), _journal(journal) {}

  /// `systemNotifications.registerStateToken(name)`, with ` failed` behind it where told to fail.
  std::optional<std::int32_t> registerStateToken(std::string_view name) override;
  /// `systemNotifications.setState(name, 1)`. False for a token that was never given out.
  bool setState(std::int32_t token, std::uint64_t state) override;
  /// `systemNotifications.post(name)`, with ` failed` behind it where told to fail.
  bool post(std::string_view name) override;
  platform::Token addObserver(std::string_view name, std::function<void()> callback) override;

  void setRegistrationFails(bool fails) { _registrationFails = fails; }
  void setPostFails(std::string_view name, bool fails = true);
  /// As if another process had posted it; observers hear it on the next turn.
  void deliver(std::string_view name);
  /// What another process would read.
  std::optional<std::uint64_t> state(std::string_view name) const;

 private:
  platform::MainQueue& _mainQueue;
  Journal& _journal;
  // Shared with what is on its way.
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
