#pragma once

#include <string>

#include "platform/ui/views/View.h"

namespace platform {

/// Displays a text. Main thread.
class Label final : public View {
 public:
  explicit Label(Rect frame = {}) : View(frame) {}
  std::string className() const override { return "Label"; }

  const std::string& text() const { return _element.text; }
  void setText(const std::string& text);
  Color textColor() const { return _element.color; }
  void setTextColor(Color color);
  TextStyle textStyle() const { return _element.style; }
  void setTextStyle(TextStyle style);
  TextAlignment textAlignment() const { return _element.alignment; }
  void setTextAlignment(TextAlignment alignment);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  TextElement _element;
};

}  // namespace platform
