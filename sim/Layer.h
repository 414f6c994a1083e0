#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/scene/Layer.h"

namespace sim {

/// A surface that nobody draws into.
class Layer final : public platform::Layer {
 public:
  static constexpr std::string_view kPath = "/sim/layer";

  std::string path() const override { return std::string(kPath); }
  void close() override { _open = false; }
  bool isOpen() const { return _open; }

 private:
  bool _open = true;
};

/// The layers that a box has made. Threads: main.
class Layers {
 public:
  /// Null while the box offers none.
  std::shared_ptr<Layer> make() {
    if (!_offered) return nullptr;
    _made.push_back(std::make_shared<Layer>());
    return _made.back();
  }
  /// Whether the box can offer layers; it can unless told otherwise.
  void setOffered(bool offered) { _offered = offered; }
  /// Of the whole life, oldest first.
  const std::vector<std::shared_ptr<Layer>>& made() const { return _made; }

 private:
  bool _offered = true;
  std::vector<std::shared_ptr<Layer>> _made;
};

}  // namespace sim
