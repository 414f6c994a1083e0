#include "platform/ui/views/TransportBarView.h"

#include <utility>

namespace platform {

TransportBarView::TransportBarView() : View(kScreenBounds) {}

void TransportBarView::setElement(TransportBarElement element) {
  _element = std::move(element);
  setNeedsDisplay();
}

void TransportBarView::appendElements(std::vector<SceneElement>& elements) const {
  elements.emplace_back(_element);
}

}  // namespace platform
