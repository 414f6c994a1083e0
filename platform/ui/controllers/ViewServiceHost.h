#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Token.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/controllers/Window.h"
#include "platform/ui/scene/Screen.h"

namespace platform {

/// The interface of the host for the presented view controller.
class ViewServiceHostProxy {
 public:
  virtual ~ViewServiceHostProxy() = default;
  /// Ends the presentation: viewServiceEndPresentationWithOptions() is called later.
  virtual void dismissWithResult(const Value& result) = 0;
};

/// The root view controller of a presentation.
class ViewServiceViewController : public ViewController {
 public:
  void setHostProxy(std::weak_ptr<ViewServiceHostProxy> proxy) { _hostProxy = std::move(proxy); }

  virtual void viewServiceBeginPresentationWithOptions(const Dictionary& options) = 0;
  /// The controller calls `completion` when it has ended. The host waits at most 5 s.
  virtual void viewServiceEndPresentationWithOptions(const Dictionary& options,
                                                     std::function<void()> completion) = 0;

 protected:
  std::shared_ptr<ViewServiceHostProxy> hostProxy() const { return _hostProxy.lock(); }

 private:
  std::weak_ptr<ViewServiceHostProxy> _hostProxy;
};

/// Manages presentations: opens the screen, creates the root view controller, begins its
/// presentation and sends it input. A presentation ends on request of the root view controller,
/// when the user presses Home, when no view handles a press of Menu, or when the window is closed.
///
/// A request is completed once, within 5 s. A request while the last presentation is ending is
/// completed after the end. A request during a presentation fails. Begin is always called before
/// end. The screen closes one turn after the end unless there is another request.
///
/// Threads: main.
class ViewServiceHost {
 public:
  using Completion = std::function<void(bool success, std::optional<Error> error)>;
  using RootFactory = std::function<std::shared_ptr<ViewServiceViewController>()>;

  ViewServiceHost(MainQueue& mainQueue, Screen& screen);
  virtual ~ViewServiceHost();

  void setRootViewControllerFactory(RootFactory factory);

  virtual void requestPresentation(Completion completion);
  /// Ends the presentation on behalf of the user or the system.
  void endPresentation();
  /// Drops the presentation and the request without callbacks, for the end of the process. Does not
  /// close the screen.
  void close();
  /// Handles input like that of the remote control. False if nothing is presented.
  bool handleInput(const InputEvent& event);

  bool isPresenting() const;
  std::shared_ptr<ViewServiceViewController> rootViewController() const;
  Window* window();
  Screen& screen();

 private:
  struct Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace platform
