#pragma once

#include "platform/ui/View.h"

namespace platform {

/// Title, state, progress and times of what a player plays, at the bottom of the safe area. Main
/// thread.
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
