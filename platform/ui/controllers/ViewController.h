#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/ui/scene/Press.h"
#include "platform/ui/views/View.h"

namespace platform {

class AlertController;

/// Owns a view and decides what it shows; contains other controllers.
///
/// Containment: addChild(child), put its view into the own one, child->didMoveToParent(this). And
/// back: child->willMoveToParent(nullptr), take its view away, child->removeFromParent().
/// addChild() tells the child that it will move, removeFromParent() that it did.
///
/// Threads: main. Lifetime: a parent owns its children.
class ViewController : public Object, public std::enable_shared_from_this<ViewController> {
 public:
  ~ViewController() override;
  std::string className() const override { return "ViewController"; }

  /// Loads it on first use.
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
  /// Told that it will get a parent, and not yet that it has.
  bool isMovingToParent() const { return _movingToParent; }

  /// Shows an alert above everything; one at a time (asserted).
  void present(std::shared_ptr<AlertController> alert, bool animated);
  void dismissPresented(bool animated);
  const std::shared_ptr<AlertController>& presented() const { return _presented; }
  /// The controller that shows this one; only alerts are shown so.
  ViewController* presentingViewController() const { return _presenting; }

  /// Where the remote's input should go; null: the controller's own view.
  virtual std::shared_ptr<View> preferredFocusedView();
  /// Asks the window to look for the preferred focus again.
  void setNeedsFocusUpdate();

  /// Input that no recogniser between the focused view and this controller's view took. True:
  /// taken.
  virtual bool handleInput(const InputEvent& event);

 protected:
  /// Makes the view; full screen, clear.
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
  std::vector<std::shared_ptr<AlertController>> _leaving;  // dismissed, still fading out
  ViewController* _presenting = nullptr;
};

}  // namespace platform
