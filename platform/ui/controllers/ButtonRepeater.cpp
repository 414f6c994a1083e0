#include "platform/ui/controllers/ButtonRepeater.h"

#include <utility>

namespace platform {

ButtonRepeater::ButtonRepeater(MainQueue& mainQueue, std::function<void(const InputEvent&)> sink)
    : _mainQueue(mainQueue), _sink(std::move(sink)) {}

void ButtonRepeater::down(PressType button) {
  release();
  _press(button);
}

void ButtonRepeater::up(PressType button) {
  if (_button == button) release();
}

void ButtonRepeater::hold(PressType button, Duration length) {
  release();
  _end = _mainQueue.after(length, [this] { release(); });
  _press(button);
}

void ButtonRepeater::release() {
  _button.reset();
  _repeat.reset();
  _end.reset();
}

void ButtonRepeater::_press(PressType button) {
  _button = button;
  _repeatAfter(button, kDelay);
  const auto sink = _sink;  // the sink may destroy this object
  sink({button, false});
}

void ButtonRepeater::_repeatAfter(PressType button, Duration delay) {
  _repeat = _mainQueue.after(delay, [this, button] {
    const auto sink = _sink;
    _repeatAfter(button, kInterval);
    sink({button, true});
  });
}

}  // namespace platform
