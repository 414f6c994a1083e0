#include "box/screen/window/ScreenWaker.h"

#include <algorithm>
#include <chrono>
#include <iterator>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace box {
namespace {

/// Rounded up: a timeout of 0 would busy-wait for the rest of the millisecond.
int wholeMilliseconds(platform::Duration limit) {
  using std::chrono::milliseconds;
  const auto whole = std::chrono::ceil<milliseconds>(limit);
  return static_cast<int>(std::clamp(whole, milliseconds(0), milliseconds(60000)).count());
}

}  // namespace

ScreenWaker::~ScreenWaker() {
  if (_signal >= 0) close(_signal);
}

void ScreenWaker::wake() {
  // The lock is held while the event is pushed, so that SDL's queue is not shut down meanwhile.
  // SDL_PushEvent() calls no callbacks here.
  const std::lock_guard lock(_mutex);
  if (_woken) return;
  _woken = true;
  if (_eventQueue) {
    _pushWakeEvent();
  } else if (_usesDescriptor) {
    eventfd_write(_signal, 1);
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

bool ScreenWaker::watch(int descriptor) {
  const std::lock_guard lock(_mutex);
  if (_signal < 0 && descriptor >= 0) _signal = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (_signal < 0 && descriptor >= 0) return false;
  _descriptor = descriptor;
  _usesDescriptor = descriptor >= 0;
  // Repeat a wake-up that was signalled to the condition variable only.
  if (_usesDescriptor && _woken) eventfd_write(_signal, 1);
  return true;
}

std::optional<SDL_Event> ScreenWaker::sleep(std::optional<platform::Duration> limit) {
  {
    std::unique_lock lock(_mutex);
    if (!_eventQueue && !_usesDescriptor) {
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
  std::optional<SDL_Event> event;
  if (_descriptor >= 0) {
    _sleepOnDescriptor(limit);
  } else {
    event = _sleepInEventQueue(limit);
  }
  {
    const std::lock_guard lock(_mutex);
    _woken = false;
    eventfd_t ignored = 0;
    if (_usesDescriptor) eventfd_read(_signal, &ignored);
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
  if (SDL_WaitEventTimeout(&event, wholeMilliseconds(*limit)) == 1) return event;
  return std::nullopt;
}

void ScreenWaker::_sleepOnDescriptor(std::optional<platform::Duration> limit) const {
  pollfd ready[] = {{_descriptor, POLLIN, 0}, {_signal, POLLIN, 0}};
  poll(ready, std::size(ready), limit ? wholeMilliseconds(*limit) : -1);
}

void ScreenWaker::_pushWakeEvent() const {
  SDL_Event event{};
  event.type = _wakeEvent;
  SDL_PushEvent(&event);
}

}  // namespace box
