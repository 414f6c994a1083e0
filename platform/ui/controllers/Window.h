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

/// Shows a root view controller: keeps the focus, sends input along the chain from the focused view
/// upwards (recognisers of each view, then the controller whose view it is), and hands a new scene
/// to its commit callback on the turn after something changed. A scene that equals the last one is
/// not handed over. A presented alert gets all input and is drawn above everything.
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
