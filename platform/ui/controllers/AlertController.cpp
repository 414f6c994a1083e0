#include "platform/ui/controllers/AlertController.h"

#include <utility>

namespace platform {

class AlertView final : public View {
 public:
  AlertView() : View(kScreenBounds) {}
  std::string className() const override { return "AlertView"; }
  void setElement(AlertElement element) { _element = std::move(element); }

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override {
    elements.emplace_back(_element);
  }

 private:
  AlertElement _element;
};

AlertController::AlertController(const std::string& title, std::string message)
    : _message(std::move(message)) {
  ViewController::setTitle(title);
}

void AlertController::setTitle(const std::string& title) {
  ViewController::setTitle(title);
  _update();
}

void AlertController::setMessage(const std::string& message) {
  _message = message;
  _update();
}

void AlertController::addAction(AlertAction action) {
  _actions.push_back(std::move(action));
  _update();
}

bool AlertController::handleInput(const InputEvent& event) {
  if (const auto* swipe = std::get_if<SwipeDirection>(&event.what)) {
    _moveFocus(*swipe == SwipeDirection::Right || *swipe == SwipeDirection::Down);
    return true;
  }
  switch (std::get<PressType>(event.what)) {
    case PressType::Left:
    case PressType::Up:
      _moveFocus(false);
      break;
    case PressType::Right:
    case PressType::Down:
      _moveFocus(true);
      break;
    case PressType::Select:
      if (!event.repeated) _press(_focused);
      break;
    case PressType::Menu:
      for (std::size_t i = 0; !event.repeated && i < _actions.size(); ++i) {
        if (_actions[i].style != AlertActionStyle::Cancel) continue;
        _press(i);
        break;
      }
      break;
    case PressType::PlayPause:
    case PressType::Home:
      break;
  }
  return true;
}

std::shared_ptr<View> AlertController::loadView() {
  _alertView = std::make_shared<AlertView>();
  _update();
  return _alertView;
}

void AlertController::_press(std::size_t index) {
  if (index >= _actions.size() || !presentingViewController()) return;
  const auto self = shared_from_this();  // the presenter may own the last reference
  const auto handler = _actions[index].handler;
  presentingViewController()->dismissPresented(true);
  if (handler) handler();
}

void AlertController::_moveFocus(bool forward) {
  if (forward ? _focused + 1 >= _actions.size() : _focused == 0) return;
  _focused = forward ? _focused + 1 : _focused - 1;
  _update();
}

void AlertController::_update() {
  if (!_alertView) return;
  AlertElement element{title(), _message, {}, _focused};
  for (const auto& action : _actions) element.buttons.push_back(action.title);
  _alertView->setElement(std::move(element));
  // The alert view is not in the view tree of the window, so the view of the presenter is marked.
  if (presentingViewController()) presentingViewController()->view()->setNeedsDisplay();
}

}  // namespace platform
