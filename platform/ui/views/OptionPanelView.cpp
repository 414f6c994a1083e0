#include "platform/ui/views/OptionPanelView.h"

#include <utility>

namespace platform {

void OptionPanelView::setElement(OptionPanelElement element) {
  _element = std::move(element);
  setNeedsDisplay();
}

void OptionPanelView::appendElements(std::vector<SceneElement>& elements) const {
  elements.emplace_back(_element);
}

}  // namespace platform
