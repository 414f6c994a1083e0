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

/// A rectangle with subviews, opacity and background. Views do not draw; they describe the scene.
///
/// The frame is in the coordinates of the superview. A view that resizes with its superview gets
/// the bounds of the superview at each layout. After a change the window sends one new scene to the
/// screen in the next turn of the main queue.
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

  /// The opacity after the current animation.
  float alpha() const { return _alpha.to; }
  const AnimatedAlpha& animatedAlpha() const { return _alpha; }
  void setAlpha(float alpha);
  /// `completion` is called asynchronously on the main thread: after `duration`, even if the view
  /// has been destroyed, or in the next turn after another change of the opacity replaces the
  /// animation.
  void animateAlpha(float alpha, Duration duration, std::function<void()> completion = {});

  const std::vector<std::shared_ptr<View>>& subviews() const { return _subviews; }
  View* superview() const { return _superview; }
  /// Removes `view` from its previous superview.
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

  /// Describes the view and its visible subviews. `origin` is the position of the superview on
  /// screen.
  SceneNode sceneNode(Point origin) const;

 protected:
  /// Sets the frames of the subviews. Called after the resizing subviews have got the bounds of
  /// this view.
  virtual void layoutSubviews();
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
  Window* _window = nullptr;  // only in the root view of a window
  std::vector<std::shared_ptr<GestureRecognizer>> _recognizers;
  std::weak_ptr<Animation> _animation;
};

}  // namespace platform
