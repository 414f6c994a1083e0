#pragma once

#include "platform/ui/views/View.h"

namespace platform {

/// Blurs and darkens the content below it. The blur style has no effect on the appearance. Main
/// thread.
class VisualEffectView final : public View {
 public:
  VisualEffectView(Rect frame, int blurStyle) : View(frame), _blurStyle(blurStyle) {}
  std::string className() const override { return "VisualEffectView"; }
  int blurStyle() const { return _blurStyle; }

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  const int _blurStyle;
};

}  // namespace platform
