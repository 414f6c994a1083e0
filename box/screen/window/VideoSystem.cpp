#include "box/screen/window/VideoSystem.h"

#include <cstdlib>
#include <string_view>
#include <utility>

#include "box/screen/drawing/RendererChoice.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/wayland/WaylandWindow.h"
#include "box/screen/window/SdlWindow.h"
#include "box/screen/workarounds/XServerExit.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {
namespace {

constexpr const char* kHeadlessDriver = "dummy";
constexpr const char* kWaylandDriver = "wayland";
/// Not SDL's Wayland driver, which may crash on a compositor that _startWayland() has refused.
constexpr const char* kOtherDrivers = "x11,KMSDRM";
constexpr platform::Size kWindowSize{1280, 720};
constexpr platform::Size kMemorySize{platform::kScreenWidth, platform::kScreenHeight};

/// SDL_VIDEODRIVER, or an empty text.
std::string_view configuredDriver() {
  const char* driver = std::getenv("SDL_VIDEODRIVER");
  return driver ? driver : "";
}

std::string_view currentDriver() {
  const char* driver = SDL_GetCurrentVideoDriver();
  return driver ? driver : "";
}

void setHints() {
  // The process handles SIGINT and SIGTERM itself.
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  SDL_SetHint(SDL_HINT_VIDEO_MINIMIZE_ON_FOCUS_LOSS, "0");
  SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "0");
  SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
  // Copy the software renderer's pixels to the display without OpenGL.
  SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
  // Do not report touches as mouse events too, which would duplicate swipes.
  SDL_SetHint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");
  SDL_SetHint(SDL_HINT_MOUSE_TOUCH_EVENTS, "0");
}

/// SDL reports the end of a display server as SDL_QUIT, without closing the window before.
bool isDisplayLost() {
  SDL_PumpEvents();
  return SDL_HasEvent(SDL_QUIT) == SDL_TRUE;
}

}  // namespace

VideoSystem::VideoSystem() { installXServerExit(); }

VideoSystem::~VideoSystem() {
  // SDL_Quit(): no other part of the process uses SDL, and only this resets the hints.
  SDL_Quit();
}

void VideoSystem::warmUp() {
  std::string reason;
  _start(reason);
  // Without a window nobody reads the events of the connection.
  _connection.reset();
}

void VideoSystem::stop() {
  _connection.reset();
  _waylandWindow = nullptr;
  if (_display == Display::Memory || _display == Display::Sdl) {
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    SDL_FlushEvent(SDL_QUIT);
  }
  _display = Display::None;
}

std::unique_ptr<RenderSurface> VideoSystem::openWindow(const ScreenOptions& options,
                                                       std::string& reason) {
  _waylandWindow = nullptr;
  if (!_start(reason)) return nullptr;
  if (_display == Display::Wayland) return _openWayland(options, reason);
  auto window = _openSdl(options, reason);
  if (window || currentDriver() != kWaylandDriver) return window;
  TVSLogWarning(TVSSystemLog,
                "Screen: OpenGL fails on the Wayland compositor, drawing without it: %@. Check the "
                "driver of the GPU (libgl1-mesa-dri)",
                reason);
  _withoutOpenGL = true;
  stop();
  // The compositor may have ended meanwhile, so this may start another display.
  if (!_start(reason)) return nullptr;
  return _display == Display::Wayland ? _openWayland(options, reason) : _openSdl(options, reason);
}

std::unique_ptr<RenderSurface> VideoSystem::_openWayland(const ScreenOptions& options,
                                                         std::string& reason) {
  auto window = WaylandWindow::open(std::move(_connection), options,
                                    options.windowedSize.value_or(kWindowSize), reason);
  _waylandWindow = window.get();
  if (window) _hasShownWindow = true;
  return window;
}

std::unique_ptr<RenderSurface> VideoSystem::_openSdl(const ScreenOptions& options,
                                                     std::string& reason) {
  const platform::Size size = isHeadless() ? kMemorySize : kWindowSize;
  auto window = SdlWindow::open(options, options.windowedSize.value_or(size), isHeadless(), reason);
  if (window && !isHeadless()) _hasShownWindow = true;
  return window;
}

bool VideoSystem::_start(std::string& reason) {
  if (_display == Display::Sdl && !isDisplayLost()) return true;
  const bool wasConfigured = _display == Display::Memory && !configuredDriver().empty();
  if (wasConfigured) return true;
  stop();
  setHints();
  const std::string_view configured = configuredDriver();
  if (configured.empty() || configured == kWaylandDriver) {
    std::string waylandReason;
    if (_startWayland(waylandReason)) return true;
    reason = std::move(waylandReason);
    if (!configured.empty()) return false;
  }
  if (_startSdl(kOtherDrivers)) return true;
  reason += (reason.empty() ? "" : "; ") + std::string("SDL: ") + SDL_GetError();
  if (!configured.empty() || _hasShownWindow || !_startSdl(kHeadlessDriver)) return false;
  _logOnce("No display available, drawing in memory only: " + reason);
  return true;
}

bool VideoSystem::_startWayland(std::string& reason) {
  auto connection = WaylandConnection::connect(reason);
  if (!connection || !connection->canShowWindows(reason)) return false;
  const bool mayUseOpenGL = !_withoutOpenGL && mayUseGPU();
  // SDL 2.26 and 2.32 dereference a null pointer on a compositor without a seat.
  if (mayUseOpenGL && connection->hasSeat()) {
    connection.reset();
    if (_startSdl(kWaylandDriver)) return true;
    reason = SDL_GetError();
    return false;
  }
  if (mayUseOpenGL) {
    _logOnce(
        "The Wayland compositor has no seat (wl_seat), so OpenGL is not used. Add an input "
        "device, or configure the compositor to create a seat without one");
  }
  _connection = std::move(connection);
  _display = Display::Wayland;
  return true;
}

bool VideoSystem::_startSdl(const char* driver) {
  if (configuredDriver().empty()) SDL_SetHint(SDL_HINT_VIDEODRIVER, driver);
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) return false;
  // Without text input, an input method cannot intercept keys.
  SDL_StopTextInput();
  const std::string_view current = currentDriver();
  const bool inMemory = current == kHeadlessDriver || current == "offscreen";
  _display = inMemory ? Display::Memory : Display::Sdl;
  return true;
}

void VideoSystem::_logOnce(const std::string& line) {
  if (_loggedLine == line) return;
  TVSLogNotice(TVSSystemLog, "%@", line);
  _loggedLine = line;
}

}  // namespace box
