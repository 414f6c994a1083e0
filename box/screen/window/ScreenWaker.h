#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// Lets the screen's thread sleep until it is woken: on a condition variable without a window, else
/// in SDL_WaitEvent(). Threads: wake() is thread-safe; the rest belongs to the screen's thread.
class ScreenWaker {
 public:
  /// Ends the current or next sleep(). Does not block.
  void wake();

  /// Whether to sleep in SDL's event queue. Turn it off before SDL's event subsystem is shut down.
  void useEventQueue(bool use);

  /// Sleeps until wake(), an event or `limit`. Returns the event, unless it was a wake-up.
  std::optional<SDL_Event> sleep(std::optional<platform::Duration> limit);

 private:
  std::optional<SDL_Event> _sleepInEventQueue(std::optional<platform::Duration> limit);
  void _pushWakeEvent() const;

  std::mutex _mutex;
  std::condition_variable _condition;
  // Protected by `_mutex`.
  bool _woken = false;
  bool _eventQueue = false;
  // Written by the screen's thread only, under `_mutex`.
  Uint32 _wakeEvent = 0;
};

}  // namespace box
