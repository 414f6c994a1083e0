#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Error.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/controllers/Window.h"
#include "platform/ui/scene/Screen.h"

namespace platform {

/// What the host offers to the view controller that it presents.
class ViewServiceHostProxy {
 public:
  virtual ~ViewServiceHostProxy() = default;
  /// Ends the presentation; leads to viewServiceEndPresentationWithOptions().
  virtual void dismissWithResult(const Value& result) = 0;
};

/// The root view controller of a presentation, as its host sees it.
class ViewServiceViewController : public ViewController {
 public:
  void setHostProxy(std::weak_ptr<ViewServiceHostProxy> proxy) { _hostProxy = std::move(proxy); }

  virtual void viewServiceBeginPresentationWithOptions(const Dictionary& options) = 0;
  /// `completion` is called once, when the controller is done; the host gives up waiting after 5 s.
  virtual void viewServiceEndPresentationWithOptions(const Dictionary& options,
                                                     std::function<void()> completion) = 0;

 protected:
  std::shared_ptr<ViewServiceHostProxy> hostProxy() const { return _hostProxy.lock(); }

 private:
  std::weak_ptr<ViewServiceHostProxy> _hostProxy;
};

/// The shell's part of a presentation: opens the screen, has a new root view controller made,
/// begins its presentation, routes the remote to it, and ends it when the controller asks, when the
/// user presses Home, when the user presses Menu and nothing on screen takes the press, or when the
/// window goes away.
///
/// A request is answered exactly once, within 5 s; begin always comes before end; a request that
/// arrives while the last presentation ends is answered when that is over. A request while
/// something is presented is answered with an error. The screen closes on the turn after a
/// presentation ended, unless the next one was requested meanwhile.
///
/// Threads: main.
class ViewServiceHost {
 public:
  using Completion = std::function<void(bool success, std::optional<Error> error)>;
  using RootFactory = std::function<std::shared_ptr<ViewServiceViewController>()>;

  ViewServiceHost(MainQueue& mainQueue, Screen& screen);
  virtual ~ViewServiceHost();

  void setRootViewControllerFactory(RootFactory factory);

  /// Virtual so that a test can answer in its own way.
  virtual void requestPresentation(Completion completion);
  /// The user or the system takes the screen away.
  void endPresentation();
  /// For the end of the process: lets go of the presentation and of a request without telling
  /// anybody. The screen is left to its owner.
  void close();
  /// Input as if from the remote. False when nothing is presented.
  bool handleInput(const InputEvent& event);

  bool isPresenting() const;
  /// Null unless presenting.
  std::shared_ptr<ViewServiceViewController> rootViewController() const;
  Window* window();
  Screen& screen();

 private:
  struct Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace platform
