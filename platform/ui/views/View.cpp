#include "platform/ui/views/View.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/services/Platform.h"
#include "platform/ui/controllers/Window.h"

namespace platform {

/// One call of animateAlpha(). Owned by its timer, not by the view: the completion is called even
/// if the view is destroyed, and it may own the view.
struct View::Animation {
  explicit Animation(std::function<void()> theCompletion) : completion(std::move(theCompletion)) {}
  void finish() {
    if (auto run = std::exchange(completion, nullptr)) run();
  }
  std::function<void()> completion;
};

View::~View() {
  for (const auto& view : _subviews) view->_superview = nullptr;
}

void View::setFrame(Rect frame) {
  if (frame == _frame) return;
  const bool resized = frame.bounds() != _frame.bounds();
  _frame = frame;
  if (resized) _needsLayout = true;
  setNeedsDisplay();
}

void View::setHidden(bool hidden) {
  if (hidden == _hidden) return;
  _hidden = hidden;
  setNeedsDisplay();
}

void View::setBackgroundColor(Color color) {
  if (color == _background) return;
  _background = color;
  setNeedsDisplay();
}

void View::setAlpha(float alpha) {
  _replaceAnimation(nullptr);
  _alpha = AnimatedAlpha::constant(alpha);
  setNeedsDisplay();
}

void View::animateAlpha(float alpha, Duration duration, std::function<void()> completion) {
  Platform& platform = Platform::current();
  const TimePoint now = platform.clock().now();
  auto animation = std::make_shared<Animation>(std::move(completion));
  _replaceAnimation(animation);
  _alpha = {_alpha.at(now), alpha, now, duration};
  setNeedsDisplay();
  platform.mainQueue()
      .after(duration,
             [weak = weak_from_this(), animation] {
               if (const auto view = weak.lock()) view->_animationDidEnd(animation);
               animation->finish();
             })
      .detach();
}

void View::_replaceAnimation(const std::shared_ptr<Animation>& animation) {
  const auto replaced = std::exchange(_animation, animation).lock();
  if (!replaced) return;
  Platform::current().mainQueue().async([replaced] { replaced->finish(); });
}

void View::_animationDidEnd(const std::shared_ptr<Animation>& animation) {
  if (_animation.lock() != animation) return;
  _animation.reset();
  // Only a view that has faded out must be redrawn, because it is removed from the scene.
  if (_alpha.to > 0) return;
  _alpha = AnimatedAlpha::constant(_alpha.to);
  setNeedsDisplay();
}

void View::addSubview(std::shared_ptr<View> view) {
  insertSubview(std::move(view), _subviews.size());
}

void View::insertSubview(std::shared_ptr<View> view, std::size_t index) {
  TVS_ASSERT(view != nullptr);
  for (const View* ancestor = this; ancestor; ancestor = ancestor->_superview) {
    TVS_ASSERT_MESSAGE(ancestor != view.get(), "a view cannot contain itself");
  }
  view->removeFromSuperview();
  view->_superview = this;
  const auto place = static_cast<std::ptrdiff_t>(std::min(index, _subviews.size()));
  _subviews.insert(_subviews.begin() + place, std::move(view));
  setNeedsLayout();
}

void View::insertSubviewBelow(std::shared_ptr<View> view, const View& sibling) {
  TVS_ASSERT(view.get() != &sibling && sibling._superview == this);
  view->removeFromSuperview();
  const auto place = std::find_if(_subviews.begin(), _subviews.end(),
                                  [&](const auto& subview) { return subview.get() == &sibling; });
  insertSubview(std::move(view), static_cast<std::size_t>(place - _subviews.begin()));
}

void View::removeFromSuperview() {
  if (!_superview) return;
  const auto self = shared_from_this();  // the superview may own the last reference
  View* const superview = std::exchange(_superview, nullptr);
  std::erase(superview->_subviews, self);
  superview->setNeedsLayout();
}

void View::addGestureRecognizer(std::shared_ptr<GestureRecognizer> recognizer) {
  TVS_ASSERT(recognizer != nullptr);
  _recognizers.push_back(std::move(recognizer));
}

Window* View::window() const {
  const View* top = this;
  while (top->_superview) top = top->_superview;
  return top->_window;
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes what its window shows
void View::setNeedsDisplay() {
  if (Window* const shown = window()) shown->setNeedsDisplay();
}

void View::setNeedsLayout() {
  _needsLayout = true;
  setNeedsDisplay();
}

void View::layoutIfNeeded() {
  if (std::exchange(_needsLayout, false)) {
    for (const auto& view : _subviews) {
      if (view->_resizes) view->setFrame(bounds());
    }
    layoutSubviews();
  }
  const auto subviews = _subviews;
  for (const auto& view : subviews) view->layoutIfNeeded();
}

SceneNode View::sceneNode(Point origin) const {
  SceneNode node;
  node.frame = {origin.x + _frame.x, origin.y + _frame.y, _frame.width, _frame.height};
  node.alpha = _alpha;
  if (_background.alpha > 0) node.elements.emplace_back(FillElement{_background});
  appendElements(node.elements);
  for (const auto& view : _subviews) {
    if (view->_isInvisible()) continue;
    node.children.push_back(view->sceneNode({node.frame.x, node.frame.y}));
  }
  return node;
}

bool View::_isInvisible() const { return _hidden || (_alpha.from <= 0 && _alpha.to <= 0); }

void View::layoutSubviews() {}

void View::appendElements(std::vector<SceneElement>&) const {}

void View::_setWindow(Window* window) { _window = window; }

}  // namespace platform
