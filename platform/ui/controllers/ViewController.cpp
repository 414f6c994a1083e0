#include "platform/ui/controllers/ViewController.h"

#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/ui/controllers/AlertController.h"
#include "platform/ui/controllers/Window.h"

namespace platform {

namespace {
constexpr Duration kAlertFade = std::chrono::milliseconds(300);
}

ViewController::~ViewController() {
  for (const auto& child : _children) child->_parent = nullptr;
  if (_presented) _presented->_presenting = nullptr;
}

const std::shared_ptr<View>& ViewController::view() {
  if (!_view) {
    _view = loadView();
    TVS_ASSERT(_view != nullptr);
    viewDidLoad();
  }
  return _view;
}

void ViewController::addChild(std::shared_ptr<ViewController> child) {
  TVS_ASSERT(child != nullptr && child.get() != this);
  if (child->_parent == this) return;
  child->removeFromParent();
  child->willMoveToParent(this);
  child->_parent = this;
  _children.push_back(std::move(child));
}

void ViewController::removeFromParent() {
  if (!_parent) return;
  const auto self = shared_from_this();  // the parent may own the last reference
  std::erase(std::exchange(_parent, nullptr)->_children, self);
  didMoveToParent(nullptr);
}

void ViewController::willMoveToParent(ViewController* parent) {
  _movingToParent = parent != nullptr;
}

void ViewController::didMoveToParent(ViewController*) { _movingToParent = false; }

void ViewController::present(std::shared_ptr<AlertController> alert, bool animated) {
  TVS_ASSERT(alert != nullptr && !_presented && !alert->_presenting);
  std::erase(_fadingAlerts, alert);  // it may be presented again before it has faded out
  _presented = std::move(alert);
  _presented->_presenting = this;
  const auto& alertView = _presented->view();
  if (animated) {
    alertView->setAlpha(0);
    alertView->animateAlpha(1, kAlertFade);
  } else {
    alertView->setAlpha(1);
  }
  view()->setNeedsDisplay();
}

void ViewController::dismissPresented(bool animated) {
  if (!_presented) return;
  const auto alert = std::exchange(_presented, nullptr);
  alert->_presenting = nullptr;
  if (animated) {
    _fadingAlerts.push_back(alert);
    alert->view()->animateAlpha(0, kAlertFade, [weak = weak_from_this(), alert] {
      const auto self = weak.lock();
      if (self && std::erase(self->_fadingAlerts, alert) > 0) self->view()->setNeedsDisplay();
    });
  }
  view()->setNeedsDisplay();
}

std::shared_ptr<View> ViewController::preferredFocusedView() { return nullptr; }

void ViewController::setNeedsFocusUpdate() {
  Window* const window = _view ? _view->window() : nullptr;
  if (window) window->updateFocus();
}

bool ViewController::handleInput(const InputEvent&) { return false; }

std::shared_ptr<View> ViewController::loadView() { return std::make_shared<View>(kScreenBounds); }

}  // namespace platform
