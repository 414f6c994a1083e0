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

/// A table of (event, state) handlers and a current state.
///
/// Workflow: make, register handlers, setShouldAcceptEvents(true), post. Before that, posts are
/// dropped with a log line. A handler returns the next state. A post from within a handler waits
/// until that handler's transition is complete, then runs before the outer post returns; a post
/// from another thread hops to the main queue. An event without a handler in the current state
/// leaves it and is logged.
///
/// Threads: postEvent() from any; everything else on the main thread. Must be owned by a
/// shared_ptr, since a hop holds it weakly.
class TVSStateMachine : public platform::Object,
                        public std::enable_shared_from_this<TVSStateMachine> {
 public:
  struct Event {
    std::string name;
    platform::Value context;
    platform::Dictionary userInfo;
  };
  using Handler = std::function<std::string(const Event&)>;

  /// `mode` 0 is the only one: events are handled one at a time, in order.
  TVSStateMachine(platform::MainQueue& mainQueue, std::string name, std::string initialState,
                  int mode);

  std::string className() const override { return "TVSStateMachine"; }
  const std::string& name() const { return _name; }
  const std::string& currentState() const { return _state; }

  void setLogComponent(std::string component) { _logComponent = std::move(component); }
  /// At most one handler a pair (asserted).
  void registerHandler(std::string event, std::string state, Handler handler);
  bool shouldAcceptEvents() const { return _accepts; }
  void setShouldAcceptEvents(bool accepts) { _accepts = accepts; }

  void postEvent(std::string_view name) { postEvent(name, {}, {}); }
  void postEvent(std::string_view name, platform::Value context, platform::Dictionary userInfo);

  /// Runs `callback` once the transition in progress has completed, before the next event is
  /// handled; at once when there is none.
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
