#include "platform/ui/views/VisualEffectView.h"

namespace platform {

void VisualEffectView::appendElements(std::vector<SceneElement>& elements) const {
  elements.emplace_back(BlurElement{});
}

}  // namespace platform
