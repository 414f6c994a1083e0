#include "box/screen/window/VideoSystem.h"

#include <cstdlib>
#include <string_view>

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {
namespace {

constexpr std::string_view kDriverWithoutDisplay = "dummy";

bool isDriverChosen() {
  const char* driver = std::getenv("SDL_VIDEODRIVER");
  return driver && *driver;
}

void setHints() {
  // SIGINT and SIGTERM are the process's own business.
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  SDL_SetHint(SDL_HINT_VIDEO_MINIMIZE_ON_FOCUS_LOSS, "0");
  SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "0");
  SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
  // The software renderer's pixels go to the display as they are, not through OpenGL once more.
  SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
  // A finger is a finger: it must not swipe once more as a mouse.
  SDL_SetHint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");
  SDL_SetHint(SDL_HINT_MOUSE_TOUCH_EVENTS, "0");
}

}  // namespace

VideoSystem::~VideoSystem() {
  // All of it: nobody else in the process uses SDL, and its hints go only this way.
  SDL_Quit();
}

bool VideoSystem::start(std::string& reason) {
  if (_running && !_fellBack) return true;
  if (_running) {
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    _running = false;
    _fellBack = false;
  }
  setHints();
  if (_startDriver(false)) return true;
  reason = SDL_GetError();
  if (isDriverChosen() || !_startDriver(true)) return false;
  _fellBack = true;
  if (!_toldFallback) {
    TVSLogNotice(TVSSystemLog, "No display: pictures are drawn in memory only (%@)", reason);
    _toldFallback = true;
  }
  return true;
}

bool VideoSystem::_startDriver(bool withoutDisplay) {
  if (!isDriverChosen()) {
    SDL_SetHint(SDL_HINT_VIDEODRIVER, withoutDisplay ? kDriverWithoutDisplay.data() : nullptr);
  }
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) return false;
  // Keys are presses of a remote here; an input method must not take them for text.
  SDL_StopTextInput();
  const char* driver = SDL_GetCurrentVideoDriver();
  _running = true;
  _headless =
      driver && (driver == kDriverWithoutDisplay || std::string_view(driver) == "offscreen");
  return true;
}

}  // namespace box
