#pragma once

#include <string>

#include "platform/ui/views/View.h"

namespace platform {

/// A row of boxes with one character each. The text may have any length. Main thread.
class DigitGroupView final : public View {
 public:
  /// `boxes` is at least 1 (asserted).
  explicit DigitGroupView(int boxes);
  std::string className() const override { return "DigitGroupView"; }

  int boxes() const { return _element.boxes; }
  const std::string& text() const { return _element.text; }
  void setText(const std::string& text);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  DigitsElement _element;
};

}  // namespace platform
