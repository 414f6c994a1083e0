#include "platform/ui/controllers/Window.h"

#include <utility>
#include <vector>

#include "platform/foundation/Assertion.h"
#include "platform/ui/controllers/AlertController.h"

namespace platform {

namespace {

/// The controller in the tree of `root` that owns `view`, or null.
std::shared_ptr<ViewController> controllerOf(const View& view,
                                             const std::shared_ptr<ViewController>& root) {
  if (root->isViewLoaded() && root->view().get() == &view) return root;
  for (const auto& child : root->children()) {
    if (auto found = controllerOf(view, child)) return found;
  }
  return nullptr;
}

/// The topmost alert presented in the tree of `controller`, or null.
std::shared_ptr<AlertController> topAlert(const ViewController& controller) {
  std::shared_ptr<AlertController> top = controller.presented();
  for (const auto& child : controller.children()) {
    if (auto found = topAlert(*child)) top = std::move(found);
  }
  return top;
}

}  // namespace

Window::Window(MainQueue& mainQueue, std::shared_ptr<ViewController> root, Commit commit)
    : _mainQueue(mainQueue), _root(std::move(root)), _commit(std::move(commit)) {
  TVS_ASSERT(_root != nullptr && _commit != nullptr);
  _root->view()->_setWindow(this);
  updateFocus();
  setNeedsDisplay();
}

Window::~Window() { _root->view()->_setWindow(nullptr); }

void Window::updateFocus() {
  auto preferred = _root->preferredFocusedView();
  if (!preferred || preferred->window() != this) preferred = _root->view();
  _focused = preferred;
}

bool Window::handleInput(const InputEvent& event) {
  if (const auto alert = topAlert(*_root)) return alert->handleInput(event);

  // A view gets the focus while it still fades in, so that no input is lost.
  updateFocus();
  const auto focused = focusedView();
  // Collected first, because handlers may change the tree.
  struct Link {
    std::shared_ptr<View> view;
    std::shared_ptr<ViewController> controller;
  };
  std::vector<Link> chain;
  for (View* view = focused.get(); view; view = view->superview()) {
    chain.push_back({view->shared_from_this(), controllerOf(*view, _root)});
  }
  for (const auto& [view, controller] : chain) {
    const auto recognizers = view->gestureRecognizers();
    for (const auto& recognizer : recognizers) {
      if (recognizer->handle(event)) return true;
    }
    if (controller && controller->handleInput(event)) return true;
  }
  return false;
}

void Window::setNeedsDisplay() {
  if (_pendingCommit) return;
  _pendingCommit = _mainQueue.after(Duration::zero(), [this] { _commitScene(); });
}

void Window::_commitScene() {
  const auto& view = _root->view();
  // Reset after the layout: changes made by the layout belong to this scene.
  view->layoutIfNeeded();
  _pendingCommit.reset();

  auto scene = std::make_shared<Scene>();
  if (!view->_isInvisible()) scene->nodes.push_back(view->sceneNode({}));
  _appendAlerts(*_root, scene->nodes);
  if (_committed && *_committed == *scene) return;
  _committed = std::move(scene);
  _commit(_committed);
}

void Window::_appendAlerts(const ViewController& controller, std::vector<SceneNode>& nodes) const {
  for (const auto& alert : controller._fadingAlerts) nodes.push_back(alert->view()->sceneNode({}));
  if (controller._presented) nodes.push_back(controller._presented->view()->sceneNode({}));
  for (const auto& child : controller._children) _appendAlerts(*child, nodes);
}

}  // namespace platform
