#include "box/services/power/DisplayCommands.h"

#include <utility>

namespace box {

void DisplayCommands::becomeActive() {
  _idleTimer.reset();
  if (!std::exchange(_isActive, true)) _runner.run(_onActive);
}

void DisplayCommands::becomeIdle() {
  if (!_isActive) return;
  _idleTimer = _thread.after(_idleDelay, [this] { becomeIdleNow(); });
}

void DisplayCommands::becomeIdleNow() {
  _idleTimer.reset();
  if (std::exchange(_isActive, false)) _runner.run(_onIdle);
}

}  // namespace box
