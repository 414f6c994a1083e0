#include "platform/ui/views/ActivityIndicatorView.h"

#include <cmath>

#include "platform/services/Platform.h"

namespace platform {

ActivityIndicatorView::ActivityIndicatorView(int style)
    : View({0, 0, defaultSize(style).width, defaultSize(style).height}), _style(style) {}

Size ActivityIndicatorView::defaultSize(int style) {
  return style == kLargeStyle ? Size{120, 120} : Size{64, 64};
}

void ActivityIndicatorView::startAnimating() {
  if (_started) return;
  _started = Platform::current().clock().now();
  setNeedsDisplay();
}

void ActivityIndicatorView::stopAnimating() {
  if (!_started) return;
  _started.reset();
  setNeedsDisplay();
}

void ActivityIndicatorView::setText(const std::string& text) {
  _text = text;
  setNeedsDisplay();
}

void ActivityIndicatorView::centerIn(Rect bounds) {
  const Size size = defaultSize(_style);
  setFrame({std::floor(bounds.x + (bounds.width - size.width) / 2),
            std::floor(bounds.y + (bounds.height - size.height) / 2), size.width, size.height});
}

void ActivityIndicatorView::appendElements(std::vector<SceneElement>& elements) const {
  if (_started) elements.emplace_back(SpinnerElement{*_started, _text});
}

}  // namespace platform
