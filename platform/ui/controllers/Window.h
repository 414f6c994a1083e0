#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/scene/Press.h"
#include "platform/ui/scene/Scene.h"

namespace platform {

/// Displays a root view controller. Manages the focus and input: an event is sent to the focused
/// view and its superviews; at each view first to the gesture recognizers, then to the controller
/// of the view. A presented alert receives all input and is above all other views.
///
/// After a change the window calls `commit` with a new scene in the next turn, unless the scene
/// equals the last one.
///
/// Threads: main.
class Window {
 public:
  using Commit = std::function<void(std::shared_ptr<const Scene>)>;

  Window(MainQueue& mainQueue, std::shared_ptr<ViewController> root, Commit commit);
  ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  const std::shared_ptr<ViewController>& rootViewController() const { return _root; }
  std::shared_ptr<View> focusedView() const { return _focused.lock(); }
  void updateFocus();
  bool handleInput(const InputEvent& event);
  void setNeedsDisplay();

 private:
  void _commitScene();
  void _appendAlerts(const ViewController& controller, std::vector<SceneNode>& nodes) const;

  MainQueue& _mainQueue;
  std::shared_ptr<ViewController> _root;
  Commit _commit;
  std::weak_ptr<View> _focused;
  std::shared_ptr<const Scene> _committed;
  Token _pendingCommit;
};

}  // namespace platform
