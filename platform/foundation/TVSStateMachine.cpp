#include "platform/foundation/TVSStateMachine.h"

#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"

namespace {

/// Sets a flag for the duration of a scope, exceptions included.
class Flag {
 public:
  explicit Flag(bool& flag) : _flag(flag) { _flag = true; }
  ~Flag() { _flag = false; }
  Flag(const Flag&) = delete;
  Flag& operator=(const Flag&) = delete;

 private:
  bool& _flag;
};

}  // namespace

TVSStateMachine::TVSStateMachine(platform::MainQueue& mainQueue, std::string name,
                                 std::string initialState, int mode)
    : _mainQueue(mainQueue),
      _name(std::move(name)),
      _state(std::move(initialState)),
      _logComponent(TVSSystemLog) {
  TVS_ASSERT(mode == 0);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): all three are moved into the table
void TVSStateMachine::registerHandler(std::string event, std::string state, Handler handler) {
  TVS_ASSERT(handler != nullptr);
  const bool isNew =
      _handlers.try_emplace({std::move(event), std::move(state)}, std::move(handler)).second;
  TVS_ASSERT_MESSAGE(isNew, "a second handler for one event in one state");
}

void TVSStateMachine::postEvent(std::string_view name, platform::Value context,
                                platform::Dictionary userInfo) {
  if (!_mainQueue.isCurrent()) {
    _mainQueue.async([weak = weak_from_this(), event = std::string(name), context, userInfo] {
      if (const auto self = weak.lock()) self->postEvent(event, context, userInfo);
    });
    return;
  }
  if (!_accepts) {
    TVSLogNotice(_logComponent, "State machine %@ does not accept events yet: %@ dropped", _name,
                 name);
    return;
  }
  _pending.push_back({std::string(name), std::move(context), std::move(userInfo)});
  if (!_draining) _drain();
}

void TVSStateMachine::afterTransition(std::function<void()> callback) {
  TVS_ASSERT(callback != nullptr);
  if (_inTransition) {
    _afterTransition.push_back(std::move(callback));
  } else {
    callback();
  }
}

void TVSStateMachine::_drain() {
  const auto self = weak_from_this().lock();  // a handler may release the last other reference
  const Flag draining(_draining);
  while (!_pending.empty()) {
    const Event event = std::move(_pending.front());
    _pending.pop_front();
    const auto handler = _handlers.find(std::pair(event.name, _state));
    if (handler == _handlers.end()) {
      TVSLogNotice(_logComponent, "State machine %@ has no handler for event %@ in state %@", _name,
                   event.name, _state);
      continue;
    }
    {
      const Flag inTransition(_inTransition);
      _state = handler->second(event);
    }
    for (const auto& callback : std::exchange(_afterTransition, {})) callback();
  }
}
