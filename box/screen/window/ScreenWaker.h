#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// Lets the screen's thread sleep until it is woken: on a condition variable without a window, in
/// SDL_WaitEvent() with a window of SDL, else in poll() on the descriptor of the display. Threads:
/// wake() is thread-safe; the rest belongs to the screen's thread.
class ScreenWaker {
 public:
  ScreenWaker() = default;
  ~ScreenWaker();
  ScreenWaker(const ScreenWaker&) = delete;
  ScreenWaker& operator=(const ScreenWaker&) = delete;

  /// Ends the current or next sleep(). Does not block.
  void wake();

  /// Whether to sleep in SDL's event queue. Turn it off before SDL's event subsystem is shut down.
  void useEventQueue(bool use);

  /// Also ends each sleep() while `descriptor` is readable; -1: none. Not together with
  /// useEventQueue(). Returns false if the process has no more descriptors.
  bool watch(int descriptor);

  /// Sleeps until wake(), an event or `limit`. Returns the event, unless it was a wake-up.
  std::optional<SDL_Event> sleep(std::optional<platform::Duration> limit);

 private:
  std::optional<SDL_Event> _sleepInEventQueue(std::optional<platform::Duration> limit);
  void _sleepOnDescriptor(std::optional<platform::Duration> limit) const;
  void _pushWakeEvent() const;

  std::mutex _mutex;
  std::condition_variable _condition;
  // Protected by `_mutex`.
  bool _woken = false;
  bool _eventQueue = false;
  bool _usesDescriptor = false;
  // Written by the screen's thread only, under `_mutex`.
  Uint32 _wakeEvent = 0;
  int _signal = -1;  // an eventfd, written by wake()
  // Screen's thread only.
  int _descriptor = -1;
};

}  // namespace box
