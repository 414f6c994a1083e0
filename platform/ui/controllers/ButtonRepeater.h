#pragma once

#include <functional>
#include <optional>

#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/MainQueue.h"
#include "platform/ui/scene/Press.h"

namespace platform {

/// Generates automatic repeats for devices that report only button down and up, such as game
/// controllers. Keyboards generate their own repeats.
///
/// Only one button repeats at a time: a new one replaces the last.
///
/// Threads: main. Lifetime: the sink may destroy this object. The main queue must outlive it.
class ButtonRepeater {
 public:
  /// From the press to the first repeat, and between repeats.
  static constexpr Duration kDelay = std::chrono::milliseconds(400);
  static constexpr Duration kInterval = std::chrono::milliseconds(100);

  ButtonRepeater(MainQueue& mainQueue, std::function<void(const InputEvent&)> sink);

  /// Emits a press and starts the repeats.
  void down(PressType button);
  /// Stops the repeats of `button`. Other buttons are not affected.
  void up(PressType button);
  void hold(PressType button, Duration length);
  void release();

 private:
  void _press(PressType button);
  void _repeatAfter(PressType button, Duration delay);

  MainQueue& _mainQueue;
  const std::function<void(const InputEvent&)> _sink;
  std::optional<PressType> _button;
  Token _repeat;
  Token _end;
};

}  // namespace platform
