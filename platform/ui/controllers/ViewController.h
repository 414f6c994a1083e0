#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/ui/scene/Press.h"
#include "platform/ui/views/View.h"

namespace platform {

class AlertController;

/// Owns and manages a view. May contain child controllers.
///
/// To add a child: addChild(child), add its view, child->didMoveToParent(this). To remove it:
/// child->willMoveToParent(nullptr), remove its view, child->removeFromParent(). addChild() calls
/// willMoveToParent(), and removeFromParent() calls didMoveToParent().
///
/// Threads: main. Lifetime: a parent owns its children.
class ViewController : public Object, public std::enable_shared_from_this<ViewController> {
 public:
  ~ViewController() override;
  std::string className() const override { return "ViewController"; }

  const std::shared_ptr<View>& view();
  bool isViewLoaded() const { return _view != nullptr; }

  const std::string& title() const { return _title; }
  virtual void setTitle(const std::string& title) { _title = title; }

  const std::vector<std::shared_ptr<ViewController>>& children() const { return _children; }
  ViewController* parent() const { return _parent; }
  void addChild(std::shared_ptr<ViewController> child);
  void removeFromParent();
  virtual void willMoveToParent(ViewController* parent);
  virtual void didMoveToParent(ViewController* parent);
  /// True between willMoveToParent(parent) and didMoveToParent(parent).
  bool isMovingToParent() const { return _movingToParent; }

  /// Shows an alert above all views. Only one at a time (asserted).
  void present(std::shared_ptr<AlertController> alert, bool animated);
  void dismissPresented(bool animated);
  const std::shared_ptr<AlertController>& presented() const { return _presented; }
  /// The controller that has presented this alert, or null.
  ViewController* presentingViewController() const { return _presenting; }

  /// The view that should have the focus; null: the view of this controller.
  virtual std::shared_ptr<View> preferredFocusedView();
  void setNeedsFocusUpdate();

  /// Handles input that was not consumed between the focused view and the view of this controller.
  /// Returns true if it is consumed.
  virtual bool handleInput(const InputEvent& event);

 protected:
  /// Creates the view. The default is a transparent full-screen view.
  virtual std::shared_ptr<View> loadView();
  virtual void viewDidLoad() {}

 private:
  friend class Window;

  std::shared_ptr<View> _view;
  std::string _title;
  std::vector<std::shared_ptr<ViewController>> _children;
  ViewController* _parent = nullptr;
  bool _movingToParent = false;
  std::shared_ptr<AlertController> _presented;
  std::vector<std::shared_ptr<AlertController>> _fadingAlerts;  // dismissed, still fading out
  ViewController* _presenting = nullptr;
};

}  // namespace platform
