#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Queue.h"

/// A state machine: a current state and one handler for each pair of event and state.
///
/// Usage: create it, register handlers, call setShouldAcceptEvents(true), post events. Events
/// posted before setShouldAcceptEvents(true) are logged and dropped. A handler returns the next
/// state. An event posted by a handler is queued, and handled after the current transition but
/// before the outer postEvent() returns. An event without a handler in the current state is logged
/// and ignored.
///
/// Threads: postEvent() from any thread, which posts to the main queue; everything else on the main
/// thread. Lifetime: owned by a shared_ptr, because queued events hold a weak_ptr to it.
class TVSStateMachine : public platform::Object,
                        public std::enable_shared_from_this<TVSStateMachine> {
 public:
  struct Event {
    std::string name;
    platform::Value context;
    platform::Dictionary userInfo;
  };
  using Handler = std::function<std::string(const Event&)>;

  /// `mode` must be 0 (asserted): events are handled one at a time, in order.
  TVSStateMachine(platform::MainQueue& mainQueue, std::string name, std::string initialState,
                  int mode);

  std::string className() const override { return "TVSStateMachine"; }
  const std::string& name() const { return _name; }
  const std::string& currentState() const { return _state; }

  void setLogComponent(std::string component) { _logComponent = std::move(component); }
  /// At most one handler for each pair (asserted).
  void registerHandler(std::string event, std::string state, Handler handler);
  bool shouldAcceptEvents() const { return _accepts; }
  void setShouldAcceptEvents(bool accepts) { _accepts = accepts; }

  void postEvent(std::string_view name) { postEvent(name, {}, {}); }
  void postEvent(std::string_view name, platform::Value context, platform::Dictionary userInfo);

  /// Calls `callback` after the current transition and before the next event is handled. Without a
  /// transition in progress it is called immediately.
  void afterTransition(std::function<void()> callback);

 private:
  void _drain();

  platform::MainQueue& _mainQueue;
  const std::string _name;
  std::string _state;
  std::string _logComponent;
  std::map<std::pair<std::string, std::string>, Handler, std::less<>> _handlers;
  bool _accepts = false;
  bool _draining = false;
  bool _inTransition = false;
  std::deque<Event> _pending;
  std::vector<std::function<void()>> _afterTransition;
};
