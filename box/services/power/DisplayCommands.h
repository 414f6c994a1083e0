#pragma once

#include <functional>
#include <string>

#include "box/services/power/CommandRunner.h"

namespace box {

/// The administrator's commands for a display that this box cannot reach by itself: one for when
/// something begins to play, one for when nothing has played for a while. They take turns: a
/// sender that goes on to its next item makes neither run again.
///
/// Threads: the service thread, or while that does not run.
class DisplayCommands {
 public:
  DisplayCommands(ServiceThread& thread, std::string onActive, std::string onIdle,
                  platform::Duration idleDelay, platform::Duration limit)
      : _thread(thread),
        _onActive(std::move(onActive)),
        _onIdle(std::move(onIdle)),
        _idleDelay(idleDelay),
        _runner(thread, limit) {}

  void becomeActive();
  void becomeIdle();
  /// The box ends: idle now, if it is not.
  void end();
  /// Calls `done` once no command runs.
  void whenDone(std::function<void()> done) { _runner.whenDone(std::move(done)); }

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
