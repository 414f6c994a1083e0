#pragma once

#include <functional>
#include <string>

#include "box/services/power/CommandRunner.h"

namespace box {

/// Runs the administrator's commands for a display that the box cannot control itself: `onActive`
/// when playback begins and `onIdle` after a time without playback. They alternate: when a sender
/// continues with another item, neither runs. Threads: the service thread, or any thread before it
/// has started and after it has ended.
class DisplayCommands {
 public:
  DisplayCommands(ServiceThread& thread, std::string onActive, std::string onIdle,
                  platform::Duration idleDelay, platform::Duration timeout)
      : _thread(thread),
        _onActive(std::move(onActive)),
        _onIdle(std::move(onIdle)),
        _idleDelay(idleDelay),
        _runner(thread, timeout) {}

  void becomeActive();
  void becomeIdle();
  /// The box shuts down: runs `onIdle` now, unless it is idle already.
  void becomeIdleNow();
  /// Calls `done` when no command runs.
  void callWhenIdle(std::function<void()> done) { _runner.callWhenIdle(std::move(done)); }

 private:
  ServiceThread& _thread;
  const std::string _onActive;
  const std::string _onIdle;
  const platform::Duration _idleDelay;
  CommandRunner _runner;
  bool _isActive = false;
  platform::Token _idleTimer;
};

}  // namespace box
