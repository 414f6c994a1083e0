#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TVVorlane/TVVorlaneSessionDelegate.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "tests/random/CallRules.h"
#include "tests/random/EventRules.h"
#include "tests/scenarios/sim/SimScenarioBox.h"

namespace random_sessions {

/// A box in memory that checks rules while a scenario controls it: the statuses of calls, the
/// registry of the session manager, the slots of the screen, the players, and the events of each
/// session. The first broken rule is kept in fault().
class WatchedBox final : public scenarios::ScenarioBox {
 public:
  explicit WatchedBox(sim::BoxOptions options);
  ~WatchedBox() override;

  bool isReal() const override { return false; }
  std::string mediaRoot() override { return _box.mediaRoot(); }
  void addMedia(const std::string& name, const platform::Dictionary& script) override {
    _box.addMedia(name, script);
  }
  scenarios::Answer call(const scenarios::Call& call) override;
  void begin(const scenarios::Call& call) override;
  std::optional<scenarios::Event> nextEvent() override { return _box.nextEvent(); }
  bool findInLog(const std::string& text) override { return _box.findInLog(text); }
  std::string state(const std::string& wanted) override { return _box.state(wanted); }
  std::size_t sessions(std::size_t wanted) override { return _box.sessions(wanted); }
  bool hasPicture(bool wanted) override { return _box.hasPicture(wanted); }
  void settle() override { _box.settle(); }
  void press(const std::string& button) override;
  void swipe(const std::string& direction) override;
  void advance(platform::Duration duration) override { _box.advance(duration); }
  void host(const std::vector<std::string>& words) override;
  void system(const std::vector<std::string>& words) override;

  /// Checks what has to be true when nothing is due. Reads the events that were received.
  void checkAtRest();
  /// Repairs everything, ends all sessions and checks that nothing is left.
  void checkEnd();
  /// Checks that a video still plays, and ends it.
  void checkPlayback();

  const std::string& fault() const { return _fault; }
  /// The info of the last "failedURLRequest"; its identifier is 0 before the first one.
  const platform::Dictionary& lastRequest() const { return _lastRequest; }
  /// Number of received events, by name.
  const std::map<std::string, std::size_t>& eventCounts() const { return _eventCounts; }

 private:
  class Ear;

  static TVVorlaneSessionManager& _manager();
  void _require(bool holds, const std::string& rule);
  void _report(const std::string& rule) { _require(rule.empty(), rule); }
  platform::TimePoint _now() { return _box.box().clock().now(); }
  void _heard(TVVorlaneSession& session, const std::string& name,
              const std::optional<platform::Dictionary>& info);
  void _registryDidChange();
  void _checkDeregistration(EventRules& session);
  bool _isFatal(const scenarios::Call& call) const;
  bool _screenMayFail();
  void _checkCall(const scenarios::Call& call, const CallRule& rule,
                  const scenarios::Answer& answer, const Registry& before);
  void _checkManager();
  void _checkSlots();
  void _checkReceivedEvents();
  void _endSessions();
  void _checkNothingIsLeft();

  SimScenarioBox _box;
  std::shared_ptr<Ear> _ear;
  platform::Token _registryObserver;
  Registry _registry;
  std::map<const TVVorlaneSession*, std::shared_ptr<EventRules>> _rules;
  std::string _fault;
  std::deque<std::string> _posted;  // events that have not been received
  platform::Dictionary _lastRequest{{"FCUP_Request_RequestID", 0}};
  std::map<std::string, std::size_t> _eventCounts;
  /// The call that is being made; null if it was only begun.
  const CallRule* _call = nullptr;
  std::optional<platform::TimePoint> _screenFailure;
  bool _screenFails = false;
  bool _notificationsFailed = false;
};

}  // namespace random_sessions
