#pragma once

#include "platform/ui/views/View.h"

namespace platform {

/// Title, state, progress and times of what a player plays. It covers the screen: its shade reaches
/// the edges, while the renderer keeps what is to be read inside the safe area. Main thread.
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
