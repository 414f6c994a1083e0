#include "platform/ui/views/MessageView.h"

#include <utility>

namespace platform {

void MessageView::setMessage(MessageElement message) {
  _message = std::move(message);
  setNeedsDisplay();
}

void MessageView::appendElements(std::vector<SceneElement>& elements) const {
  if (!_message.text.empty()) elements.emplace_back(_message);
}

}  // namespace platform
