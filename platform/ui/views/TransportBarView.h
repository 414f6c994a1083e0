#pragma once

#include "platform/ui/views/View.h"

namespace platform {

/// Displays title, state, progress and times of a player. The view covers the screen: the gradient
/// extends to the edges, and the renderer keeps the texts inside the safe area. Main thread.
class TransportBarView final : public View {
 public:
  TransportBarView();
  std::string className() const override { return "TransportBarView"; }

  const TransportBarElement& element() const { return _element; }
  void setElement(TransportBarElement element);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  TransportBarElement _element;
};

}  // namespace platform
