#include "box/screen/window/VideoSystem.h"

#include <cstdlib>
#include <string_view>

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {
namespace {

constexpr std::string_view kHeadlessDriver = "dummy";

bool isDriverConfigured() {
  const char* driver = std::getenv("SDL_VIDEODRIVER");
  return driver && *driver;
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

}  // namespace

VideoSystem::~VideoSystem() {
  // SDL_Quit(): no other part of the process uses SDL, and only this resets the hints.
  SDL_Quit();
}

bool VideoSystem::start(std::string& reason) {
  if (_running && !_usesFallback) return true;
  if (_running) {
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    _running = false;
    _usesFallback = false;
  }
  setHints();
  if (_startDriver(false)) return true;
  reason = SDL_GetError();
  if (isDriverConfigured() || !_startDriver(true)) return false;
  _usesFallback = true;
  if (!_loggedFallback) {
    TVSLogNotice(TVSSystemLog, "No display available, drawing in memory only: %@", reason);
    _loggedFallback = true;
  }
  return true;
}

bool VideoSystem::_startDriver(bool headless) {
  if (!isDriverConfigured()) {
    SDL_SetHint(SDL_HINT_VIDEODRIVER, headless ? kHeadlessDriver.data() : nullptr);
  }
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) return false;
  // Without text input, an input method cannot intercept keys.
  SDL_StopTextInput();
  const char* driver = SDL_GetCurrentVideoDriver();
  _running = true;
  _headless = driver && (driver == kHeadlessDriver || std::string_view(driver) == "offscreen");
  return true;
}

}  // namespace box
