#include "platform/ui/views/DigitGroupView.h"

#include "platform/foundation/Assertion.h"

namespace platform {

DigitGroupView::DigitGroupView(int boxes) {
  TVS_ASSERT(boxes >= 1);
  _element.boxes = boxes;
}

void DigitGroupView::setText(const std::string& text) {
  _element.text = text;
  setNeedsDisplay();
}

void DigitGroupView::appendElements(std::vector<SceneElement>& elements) const {
  elements.emplace_back(_element);
}

}  // namespace platform
