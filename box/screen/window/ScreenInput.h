#pragma once

#include <optional>
#include <vector>

#include "box/screen/drawing/RenderSurface.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/window/InputMapping.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// Translates window events of keyboard, game controllers, mouse and touch to presses and swipes.
///
/// Game controllers are open while this object exists. SDL then scans for controllers every few
/// seconds and polls open ones every millisecond, so destroy it with its window, before `surface`.
/// Thread: the screen's.
class ScreenInput {
 public:
  explicit ScreenInput(const RenderSurface& surface);
  ~ScreenInput();
  ScreenInput(const ScreenInput&) = delete;
  ScreenInput& operator=(const ScreenInput&) = delete;

  std::optional<RemoteEvent> translate(const SDL_Event& event);
  /// How often SDL's events have to be polled for game controllers where SDL has no display.
  platform::Duration pollInterval() const;

 private:
  std::optional<RemoteEvent> _translatePointer(const SDL_Event& event);

  const RenderSurface& _surface;
  bool _hasControllers = false;
  std::vector<ControllerPtr> _controllers;
  SwipeTracker _swipe;
};

}  // namespace box
