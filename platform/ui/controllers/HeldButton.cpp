#include "platform/ui/controllers/HeldButton.h"

#include <utility>

namespace platform {

HeldButton::HeldButton(MainQueue& mainQueue, std::function<void(const InputEvent&)> sink)
    : _mainQueue(mainQueue), _sink(std::move(sink)) {}

void HeldButton::down(PressType button) {
  letGo();
  _press(button);
}

void HeldButton::up(PressType button) {
  if (_button == button) letGo();
}

void HeldButton::hold(PressType button, Duration length) {
  letGo();
  _end = _mainQueue.after(length, [this] { letGo(); });
  _press(button);
}

void HeldButton::letGo() {
  _button.reset();
  _repeat.reset();
  _end.reset();
}

void HeldButton::_press(PressType button) {
  _button = button;
  _repeatAfter(button, kDelay);
  const auto sink = _sink;  // what the press leads to may take this away
  sink({button, false});
}

void HeldButton::_repeatAfter(PressType button, Duration delay) {
  _repeat = _mainQueue.after(delay, [this, button] {
    const auto sink = _sink;
    _repeatAfter(button, kInterval);
    sink({button, true});
  });
}

}  // namespace platform
