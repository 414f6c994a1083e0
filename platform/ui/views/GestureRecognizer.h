#pragma once

#include <functional>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/ui/scene/Press.h"

namespace platform {

/// Calls a handler for certain input events of its view. Main thread.
class GestureRecognizer : public Object {
 public:
  /// Returns true if the event is consumed.
  virtual bool handle(const InputEvent& event) = 0;
};

class TapRecognizer final : public GestureRecognizer {
 public:
  using Handler = std::function<void(const TapRecognizer&)>;
  explicit TapRecognizer(Handler handler) : _handler(std::move(handler)) {}
  std::string className() const override { return "TapRecognizer"; }

  /// Default: {Menu}.
  const std::vector<PressType>& allowedPressTypes() const { return _allowed; }
  void setAllowedPressTypes(std::vector<PressType> types) { _allowed = std::move(types); }
  bool handle(const InputEvent& event) override;

 private:
  Handler _handler;
  std::vector<PressType> _allowed{PressType::Menu};
};

class SwipeRecognizer final : public GestureRecognizer {
 public:
  using Handler = std::function<void(const SwipeRecognizer&)>;
  SwipeRecognizer(SwipeDirection direction, Handler handler)
      : _direction(direction), _handler(std::move(handler)) {}
  std::string className() const override { return "SwipeRecognizer"; }
  SwipeDirection direction() const { return _direction; }
  bool handle(const InputEvent& event) override;

 private:
  SwipeDirection _direction;
  Handler _handler;
};

}  // namespace platform
