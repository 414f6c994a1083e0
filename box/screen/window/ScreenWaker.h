#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// How the screen's thread sleeps, and how the others wake it: on a condition variable while there
/// is nothing to read input from, in SDL's wait for events otherwise. Never polls.
///
/// Threads: wake() from any, the rest on the screen's.
class ScreenWaker {
 public:
  /// Ends a sleep in progress, or makes the next one return at once. Never waits for the screen's
  /// thread's work.
  void wake();

  /// Whether to sleep in SDL's event queue. Must be off before SDL's events go down.
  void useEventQueue(bool use);

  /// Until wake(), an event or `limit`; no limit: unbounded. Returns the event, if it was one from
  /// outside.
  std::optional<SDL_Event> sleep(std::optional<platform::Duration> limit);

 private:
  std::optional<SDL_Event> _sleepInEventQueue(std::optional<platform::Duration> limit);
  void _pushWakeEvent() const;

  std::mutex _mutex;
  std::condition_variable _condition;
  // Protected by `_mutex`.
  bool _woken = false;
  bool _eventQueue = false;
  // The screen's thread's own but for reads under `_mutex`.
  Uint32 _wakeEvent = 0;
};

}  // namespace box
