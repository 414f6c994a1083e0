#include "box/screen/window/ScreenWaker.h"

#include <algorithm>
#include <chrono>

namespace box {

void ScreenWaker::wake() {
  // The lock is held while the event is pushed, so that SDL's queue is not shut down meanwhile.
  // SDL_PushEvent() calls no callbacks here.
  const std::lock_guard lock(_mutex);
  if (_woken) return;
  _woken = true;
  if (_eventQueue) {
    _pushWakeEvent();
  } else {
    _condition.notify_one();
  }
}

void ScreenWaker::useEventQueue(bool use) {
  const std::lock_guard lock(_mutex);
  if (_eventQueue == use) return;
  if (use && _wakeEvent == 0) _wakeEvent = SDL_RegisterEvents(1);
  _eventQueue = use;
  // Repeat a wake-up that was signalled to the condition variable only.
  if (use && _woken) _pushWakeEvent();
}

std::optional<SDL_Event> ScreenWaker::sleep(std::optional<platform::Duration> limit) {
  {
    std::unique_lock lock(_mutex);
    if (!_eventQueue) {
      const auto woken = [&] { return _woken; };
      if (limit) {
        _condition.wait_for(lock, *limit, woken);
      } else {
        _condition.wait(lock, woken);
      }
      _woken = false;
      return std::nullopt;
    }
  }
  auto event = _sleepInEventQueue(limit);
  {
    const std::lock_guard lock(_mutex);
    _woken = false;
  }
  if (event && event->type == _wakeEvent) event.reset();
  return event;
}

std::optional<SDL_Event> ScreenWaker::_sleepInEventQueue(std::optional<platform::Duration> limit) {
  SDL_Event event{};
  if (!limit) {
    if (SDL_WaitEvent(&event) == 1) return event;
    return std::nullopt;
  }
  using std::chrono::milliseconds;
  // Rounded up: a timeout of 0 would busy-wait for the rest of the millisecond.
  const auto whole = std::chrono::ceil<milliseconds>(*limit);
  const auto bounded = std::clamp(whole, milliseconds(0), milliseconds(60000));
  if (SDL_WaitEventTimeout(&event, static_cast<int>(bounded.count())) == 1) return event;
  return std::nullopt;
}

void ScreenWaker::_pushWakeEvent() const {
  SDL_Event event{};
  event.type = _wakeEvent;
  SDL_PushEvent(&event);
}

}  // namespace box
