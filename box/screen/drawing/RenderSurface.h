#pragma once

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

/// What a renderer draws to and a display shows: a window of SDL, or a Wayland window of the box.
/// Thread: the screen's.
class RenderSurface {
 public:
  RenderSurface() = default;
  virtual ~RenderSurface() = default;
  RenderSurface(const RenderSurface&) = delete;
  RenderSurface& operator=(const RenderSurface&) = delete;

  virtual SDL_Renderer* renderer() const = 0;
  /// Shows what the renderer has drawn.
  virtual void present() = 0;
  /// Size in the unit of pointer positions.
  virtual platform::Size size() const = 0;
  virtual platform::Duration refreshInterval() const = 0;
  /// Whether present() may be called soon after the previous one, because it waits for the display
  /// or isReady() does.
  virtual bool followsDisplay() const = 0;
  virtual void keepDisplayOn(bool keepsOn) = 0;
  virtual bool owns(const SDL_Event& event) const = 0;

  /// False while the display takes no new frame, for example because the window is hidden.
  virtual bool isReady() const { return true; }
  /// Whether the user has closed the window.
  virtual bool isClosed() const { return false; }
  /// Whether the renderer no longer has the size of the window. Then release all textures and call
  /// replaceRenderer().
  virtual bool isResized() const { return false; }
  virtual void replaceRenderer() {}

  /// Reads events of the display. Returns false if the display is lost. The default is for a window
  /// whose events are in SDL's queue.
  virtual bool dispatch() { return true; }
  /// Sends requests. Returns a descriptor that is readable when dispatch() has to be called, or -1.
  virtual int flush() { return -1; }
};

}  // namespace box
