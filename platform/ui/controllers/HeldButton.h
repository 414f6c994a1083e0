#pragma once

#include <functional>
#include <optional>

#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/MainQueue.h"
#include "platform/ui/scene/Press.h"

namespace platform {

/// Makes the press and the repeats of a button of which only the way down and the way up are told,
/// such as a game controller's. Keyboards make theirs themselves.
///
/// One button at a time: the next one ends the repeats of the last. A timer runs only while one is
/// down.
///
/// Threads: main, the sink too. Lifetime: the sink is not called after destruction, and may destroy
/// this; the main queue outlives it.
class HeldButton {
 public:
  /// From the press to the first repeat, and from one repeat to the next.
  static constexpr Duration kDelay = std::chrono::milliseconds(400);
  static constexpr Duration kInterval = std::chrono::milliseconds(100);

  HeldButton(MainQueue& mainQueue, std::function<void(const InputEvent&)> sink);

  /// Presses the button at once.
  void down(PressType button);
  /// It comes up. Nothing to do unless it is the one that is down.
  void up(PressType button);
  /// Down, and up by itself after `length`.
  void hold(PressType button, Duration length);
  /// Whatever is down comes up.
  void letGo();

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
