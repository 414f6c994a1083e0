#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/scene/Layer.h"

namespace sim {

/// A layer without content.
class Layer final : public platform::Layer {
 public:
  static constexpr std::string_view kPath = "/sim/layer";

  std::string path() const override { return std::string(kPath); }
  void close() override { _open = false; }
  bool isOpen() const { return _open; }

 private:
  bool _open = true;
};

/// Creates layers and keeps them. Threads: main.
class Layers {
 public:
  /// Returns null if layers are not offered.
  std::shared_ptr<Layer> make() {
    if (!_offered) return nullptr;
    _made.push_back(std::make_shared<Layer>());
    return _made.back();
  }
  /// Default: true.
  void setOffered(bool offered) { _offered = offered; }
  /// All layers, oldest first.
  const std::vector<std::shared_ptr<Layer>>& made() const { return _made; }

 private:
  bool _offered = true;
  std::vector<std::shared_ptr<Layer>> _made;
};

}  // namespace sim
