#pragma once

#include "platform/ui/views/View.h"

namespace platform {

/// Displays lists of options. The view covers the screen; the renderer positions the panel. Main
/// thread.
class OptionPanelView final : public View {
 public:
  OptionPanelView() : View(kScreenBounds) {}
  std::string className() const override { return "OptionPanelView"; }
  bool canBecomeFocused() const override { return true; }

  const OptionPanelElement& element() const { return _element; }
  void setElement(OptionPanelElement element);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  OptionPanelElement _element;
};

}  // namespace platform
