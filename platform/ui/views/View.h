#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/ui/scene/Geometry.h"
#include "platform/ui/scene/Scene.h"
#include "platform/ui/views/GestureRecognizer.h"

namespace platform {

class Window;

/// A rectangle on screen with subviews, opacity and a background: a model, which draws nothing.
///
/// A subview's frame is in its superview's coordinates; views that resize with their superview take
/// its bounds whenever it is laid out. Any change marks the window, which hands one new scene to
/// the screen on the next turn of the main queue.
///
/// Threads: main. Lifetime: a superview owns its subviews.
class View : public Object, public std::enable_shared_from_this<View> {
 public:
  explicit View(Rect frame = {}) : _frame(frame) {}
  ~View() override;
  std::string className() const override { return "View"; }

  Rect frame() const { return _frame; }
  void setFrame(Rect frame);
  Rect bounds() const { return _frame.bounds(); }
  void setResizesWithSuperview(bool resizes) { _resizes = resizes; }
  bool hidden() const { return _hidden; }
  void setHidden(bool hidden);
  Color backgroundColor() const { return _background; }
  void setBackgroundColor(Color color);

  /// Where it is going, animated or not.
  float alpha() const { return _alpha.to; }
  const AnimatedAlpha& animatedAlpha() const { return _alpha; }
  void setAlpha(float alpha);
  /// Runs on the current platform's clock; `completion` is called on the main thread, never from
  /// inside the call, when it is over: after `duration`, also when the view has died meanwhile, or
  /// on the turn after another change of the opacity has replaced it.
  void animateAlpha(float alpha, Duration duration, std::function<void()> completion = {});

  const std::vector<std::shared_ptr<View>>& subviews() const { return _subviews; }
  View* superview() const { return _superview; }
  /// A view that has a superview leaves it first.
  void addSubview(std::shared_ptr<View> view);
  void insertSubview(std::shared_ptr<View> view, std::size_t index);
  /// `sibling` must be a subview (asserted).
  void insertSubviewBelow(std::shared_ptr<View> view, const View& sibling);
  void removeFromSuperview();

  void addGestureRecognizer(std::shared_ptr<GestureRecognizer> recognizer);
  const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const {
    return _recognizers;
  }

  virtual bool canBecomeFocused() const { return false; }
  Window* window() const;

  void setNeedsDisplay();
  void setNeedsLayout();
  void layoutIfNeeded();

  /// The view and its visible subviews, for the screen. `origin` is its superview's.
  SceneNode sceneNode(Point origin) const;

 protected:
  /// Places the subviews; called with the bounds set and after those that resize with this view
  /// have taken them.
  virtual void layoutSubviews();
  /// Adds what the view itself shows, above its background.
  virtual void appendElements(std::vector<SceneElement>& elements) const;

 private:
  friend class Window;
  struct Animation;
  void _setWindow(Window* window);
  void _replaceAnimation(const std::shared_ptr<Animation>& animation);
  void _animationDidEnd(const std::shared_ptr<Animation>& animation);
  bool _isInvisible() const;

  Rect _frame;
  AnimatedAlpha _alpha;
  Color _background = kClear;
  bool _hidden = false;
  bool _resizes = false;
  bool _needsLayout = true;
  std::vector<std::shared_ptr<View>> _subviews;
  View* _superview = nullptr;
  Window* _window = nullptr;  // set on a window's root view only
  std::vector<std::shared_ptr<GestureRecognizer>> _recognizers;
  std::weak_ptr<Animation> _animation;  // the running one
};

}  // namespace platform
