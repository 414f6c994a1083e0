#pragma once

#include "platform/ui/views/View.h"

namespace platform {

/// Blurs and darkens what lies beneath it.
///
/// The style is one of the platform's numbers. All of them look the same on this box; the number is
/// kept for whoever asks. Main thread.
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
