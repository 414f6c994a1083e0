#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/ui/scene/Layer.h"
#include "platform/ui/views/View.h"

namespace platform {

/// Displays a layer, centered at its aspect ratio. Main thread.
class LayerView final : public View {
 public:
  using View::View;
  std::string className() const override { return "LayerView"; }

  const std::shared_ptr<Layer>& layer() const { return _layer; }
  void setLayer(std::shared_ptr<Layer> layer) {
    _layer = std::move(layer);
    setNeedsDisplay();
  }

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override {
    if (_layer) elements.emplace_back(LayerElement{_layer});
  }

 private:
  std::shared_ptr<Layer> _layer;
};

}  // namespace platform
