#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/ui/scene/Screen.h"

namespace box {

/// Forwards to another screen and notifies an observer when the screen opens and closes. Thread:
/// main. `screen` must outlive this object.
class ObservedScreen final : public platform::Screen {
 public:
  explicit ObservedScreen(platform::Screen& screen) : _screen(screen) {}

  /// Called before each open(), with true, and after each close(), with false. Null removes it.
  void setObserver(std::function<void(bool opens)> observer) { _observer = std::move(observer); }

  void open(std::function<void(std::optional<platform::Error>)> completion) override {
    if (const auto observer = _observer) observer(true);
    _screen.open(std::move(completion));
  }
  void close() override {
    _screen.close();
    if (const auto observer = _observer) observer(false);
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
  std::function<void(bool)> _observer;
};

}  // namespace box
