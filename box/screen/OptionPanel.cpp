#include "box/screen/Elements.h"
#include "box/screen/Theme.h"

namespace box {

void drawElement(Canvas& canvas, const platform::OptionPanelElement& panel,
                 const platform::Rect& frame, float alpha) {
  if (!panel.lists.empty()) canvas.fill(frame, theme::kDim, alpha);
}

}  // namespace box
