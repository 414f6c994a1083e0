#include "platform/ui/views/Label.h"

namespace platform {

// The setters do not compare values, because the window ignores a scene that equals the last one.

void Label::setText(const std::string& text) {
  _element.text = text;
  setNeedsDisplay();
}

void Label::setTextColor(Color color) {
  _element.color = color;
  setNeedsDisplay();
}

void Label::setTextStyle(TextStyle style) {
  _element.style = style;
  setNeedsDisplay();
}

void Label::setTextAlignment(TextAlignment alignment) {
  _element.alignment = alignment;
  setNeedsDisplay();
}

void Label::appendElements(std::vector<SceneElement>& elements) const {
  if (!_element.text.empty()) elements.emplace_back(_element);
}

}  // namespace platform
