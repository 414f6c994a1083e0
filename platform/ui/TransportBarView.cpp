#include "platform/ui/TransportBarView.h"

#include <utility>

namespace platform {

namespace {

constexpr double kHeight = 160;
constexpr double kSide = kScreenWidth * kSafeAreaFraction;
constexpr double kBottom = kScreenHeight * (1 - kSafeAreaFraction);

}  // namespace

TransportBarView::TransportBarView()
    : View({kSide, kBottom - kHeight, kScreenWidth - 2 * kSide, kHeight}) {}

void TransportBarView::setElement(TransportBarElement element) {
  _element = std::move(element);
  setNeedsDisplay();
}

void TransportBarView::appendElements(std::vector<SceneElement>& elements) const {
  elements.emplace_back(_element);
}

}  // namespace platform
