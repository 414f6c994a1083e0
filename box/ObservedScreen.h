#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/ui/Screen.h"

namespace box {

/// Another screen, and whoever has to know when it is told to close.
///
/// Threads: main. Lifetime: `screen` outlives it.
class ObservedScreen final : public platform::Screen {
 public:
  explicit ObservedScreen(platform::Screen& screen) : _screen(screen) {}

  /// Called after each close(). Null removes it.
  void setCloseObserver(std::function<void()> observer) { _closeObserver = std::move(observer); }

  void open(std::function<void(std::optional<platform::Error>)> completion) override {
    _screen.open(std::move(completion));
  }
  void close() override {
    _screen.close();
    if (const auto observer = _closeObserver) observer();
  }
  bool isOpen() const override { return _screen.isOpen(); }
  void setScene(std::shared_ptr<const platform::Scene> scene) override {
    _screen.setScene(std::move(scene));
  }
  void setInputHandler(std::function<void(const platform::InputEvent&)> handler) override {
    _screen.setInputHandler(std::move(handler));
  }
  void setClosedHandler(std::function<void()> handler) override {
    _screen.setClosedHandler(std::move(handler));
  }
  void capture(std::function<void(std::shared_ptr<const platform::Bytes>)> completion) override {
    _screen.capture(std::move(completion));
  }

 private:
  platform::Screen& _screen;
  std::function<void()> _closeObserver;
};

}  // namespace box
