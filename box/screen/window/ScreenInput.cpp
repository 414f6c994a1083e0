#include "box/screen/window/ScreenInput.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace box {

namespace {

using Kind = RemoteEvent::Kind;

template <typename What>
std::optional<RemoteEvent> eventOf(const std::optional<What>& what, Kind kind = Kind::Input,
                                   bool repeated = false) {
  if (!what) return std::nullopt;
  return RemoteEvent{kind, {*what, repeated}};
}

}  // namespace

ScreenInput::ScreenInput(const RenderSurface& surface)
    : _surface(surface), _hasControllers(SDL_InitSubSystem(SDL_INIT_GAMECONTROLLER) == 0) {}

ScreenInput::~ScreenInput() {
  _controllers.clear();
  if (_hasControllers) SDL_QuitSubSystem(SDL_INIT_GAMECONTROLLER);
}

std::optional<RemoteEvent> ScreenInput::translate(const SDL_Event& event) {
  switch (event.type) {
    case SDL_KEYDOWN:
      return eventOf(pressForKey(event.key.keysym.sym), Kind::Input, event.key.repeat != 0);
    case SDL_CONTROLLERBUTTONDOWN:
    case SDL_CONTROLLERBUTTONUP:
      // SDL also sends the "up" event when a controller is removed.
      return eventOf(pressForButton(static_cast<SDL_GameControllerButton>(event.cbutton.button)),
                     event.type == SDL_CONTROLLERBUTTONDOWN ? Kind::ButtonDown : Kind::ButtonUp);
    case SDL_CONTROLLERDEVICEADDED:
      if (ControllerPtr controller{SDL_GameControllerOpen(event.cdevice.which)}) {
        _controllers.push_back(std::move(controller));
      }
      return std::nullopt;
    case SDL_CONTROLLERDEVICEREMOVED:
      std::erase_if(_controllers, [&](const ControllerPtr& controller) {
        return SDL_JoystickInstanceID(SDL_GameControllerGetJoystick(controller.get())) ==
               event.cdevice.which;
      });
      return std::nullopt;
    default:
      return _translatePointer(event);
  }
}

platform::Duration ScreenInput::pollInterval() const {
  if (_controllers.empty()) return std::chrono::seconds(3);
  return std::chrono::milliseconds(10);
}

std::optional<RemoteEvent> ScreenInput::_translatePointer(const SDL_Event& event) {
  const platform::Size size = _surface.size();
  if (size.height <= 0) return std::nullopt;
  const double unit = size.height;
  const double touchWidth = size.width / unit;
  switch (event.type) {
    case SDL_MOUSEBUTTONDOWN:
      if (event.button.button == SDL_BUTTON_LEFT)
        _swipe.begin(event.button.x / unit, event.button.y / unit);
      return std::nullopt;
    case SDL_MOUSEMOTION:
      return eventOf(_swipe.move(event.motion.x / unit, event.motion.y / unit));
    case SDL_FINGERDOWN:
      _swipe.begin(static_cast<double>(event.tfinger.x) * touchWidth,
                   static_cast<double>(event.tfinger.y));
      return std::nullopt;
    case SDL_FINGERMOTION:
      return eventOf(_swipe.move(static_cast<double>(event.tfinger.x) * touchWidth,
                                 static_cast<double>(event.tfinger.y)));
    case SDL_MOUSEBUTTONUP:
    case SDL_FINGERUP:
      _swipe.end();
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace box
