#include "platform/ui/views/GestureRecognizer.h"

#include <algorithm>

namespace platform {

bool TapRecognizer::handle(const InputEvent& event) {
  const auto* press = std::get_if<PressType>(&event.what);
  if (!press || std::find(_allowed.begin(), _allowed.end(), *press) == _allowed.end()) return false;
  // A held button is one tap. The repeats are consumed, so that superviews do not handle them.
  if (!event.repeated && _handler) _handler(*this);
  return true;
}

bool SwipeRecognizer::handle(const InputEvent& event) {
  const auto* direction = std::get_if<SwipeDirection>(&event.what);
  if (!direction || *direction != _direction) return false;
  if (_handler) _handler(*this);
  return true;
}

}  // namespace platform
