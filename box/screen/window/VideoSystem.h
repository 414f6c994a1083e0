#pragma once

#include <memory>
#include <string>

#include "box/screen/drawing/RenderSurface.h"
#include "box/screen/drawing/ScreenOptions.h"

namespace box {

class WaylandConnection;
class WaylandWindow;

/// Chooses and initializes the display system, in this order: Wayland, then X11 and KMS, then SDL's
/// dummy driver, which draws in memory, so that screenshots work. SDL_VIDEODRIVER forces one.
///
/// SDL's Wayland driver is used if there are a GPU and input devices, which it requires. Otherwise
/// windows are of the class WaylandWindow. Thread: the screen's.
class VideoSystem {
 public:
  VideoSystem();
  ~VideoSystem();
  VideoSystem(const VideoSystem&) = delete;
  VideoSystem& operator=(const VideoSystem&) = delete;

  /// Initializes what openWindow() needs, so that openWindow() is fast. Failures are reported by
  /// openWindow().
  void warmUp();
  /// Returns null and sets `reason` on failure. Destroy the previous window before. A display that
  /// has appeared since the last call is used; a lost one is given up.
  std::unique_ptr<RenderSurface> openWindow(const ScreenOptions& options, std::string& reason);
  /// Gives up a lost display. Destroy its window before.
  void stop();

  /// Whether openWindow() has opened a window on a display. Then it no longer falls back to memory:
  /// a lost display may return.
  bool hasShownWindow() const { return _hasShownWindow; }
  /// Whether there is no display. Then there is no input, and waiting for events would poll.
  bool isHeadless() const { return _display == Display::Memory; }
  /// Whether events of the display are in SDL's queue, where SDL waits for them without polling.
  bool hasEventQueue() const { return _display == Display::Sdl; }
  /// The window that openWindow() returned last if it is a Wayland window of the box, else null.
  WaylandWindow* waylandWindow() const { return _waylandWindow; }

 private:
  enum class Display { None, Memory, Sdl, Wayland };

  bool _start(std::string& reason);
  bool _startWayland(std::string& reason);
  bool _startSdl(const char* driver);
  std::unique_ptr<RenderSurface> _openWayland(const ScreenOptions& options, std::string& reason);
  std::unique_ptr<RenderSurface> _openSdl(const ScreenOptions& options, std::string& reason);
  void _logOnce(const std::string& line);

  Display _display = Display::None;
  std::unique_ptr<WaylandConnection> _connection;  // for the next window
  WaylandWindow* _waylandWindow = nullptr;
  bool _withoutOpenGL = false;  // OpenGL has failed on this compositor
  bool _hasShownWindow = false;
  std::string _loggedLine;
};

}  // namespace box
