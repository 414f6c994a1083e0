#include "platform/ui/controllers/ViewServiceHost.h"

#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/Value.h"

namespace platform {

namespace {

constexpr Duration kRequestTimeout = std::chrono::seconds(5);
constexpr Duration kEndTimeout = std::chrono::seconds(5);
constexpr std::int64_t kCannotPresent = -6700;

Error presentationError(std::string description) {
  Error error = Error::status(kCannotPresent);
  error.localizedDescription = std::move(description);
  return error;
}

}  // namespace

struct ViewServiceHost::Impl : std::enable_shared_from_this<Impl> {
  enum class State {
    Idle,
    Opening,     // a request waits for the screen
    Accepted,    // the request is completed; the presentation begins in the next turn
    Presenting,  // the presentation has begun
    Ending,      // the root ends, or will be asked to in the next turn
  };

  struct Request {
    Completion completion;
    Token timeout;
  };

  /// Each presentation has its own proxy, so that an old root cannot end a newer presentation.
  struct Proxy final : ViewServiceHostProxy {
    explicit Proxy(std::weak_ptr<Impl> theHost) : host(std::move(theHost)) {}
    void dismissWithResult(const Value&) override {
      const auto impl = host.lock();
      if (impl && impl->proxy.get() == this) impl->end();
    }
    const std::weak_ptr<Impl> host;
  };

  Impl(MainQueue& theMainQueue, Screen& theScreen) : mainQueue(theMainQueue), screen(theScreen) {}

  MainQueue& mainQueue;
  Screen& screen;
  RootFactory makeRoot;

  State state = State::Idle;
  /// Waits for the screen or for the end of the last presentation.
  std::optional<Request> request;
  /// A Screen::open() has not completed. It must not be called again before.
  bool openInProgress = false;
  /// The request for which the open() was called has timed out or ended.
  bool openAbandoned = false;
  std::uint64_t presentation = 0;
  bool endAfterBegin = false;
  std::shared_ptr<ViewServiceViewController> root;
  std::shared_ptr<Proxy> proxy;
  std::unique_ptr<Window> window;
  Token endTimeout;
  Token pendingClose;

  /// Runs `operation` in a later turn unless the host is destroyed before.
  void post(void (Impl::*operation)()) {
    mainQueue.async([weak = weak_from_this(), operation] {
      if (const auto impl = weak.lock()) (impl.get()->*operation)();
    });
  }

  void completeRequest(const std::optional<Error>& error) {
    if (!request) return;
    const Completion completion = std::move(request->completion);
    request.reset();
    if (completion) completion(!error, error);
  }

  void rejectRequest(Completion completion, std::string description) {
    mainQueue.async([completion = std::move(completion), text = std::move(description)] {
      if (completion) completion(false, presentationError(text));
    });
  }

  void requestPresentation(Completion completion) {
    if (request || state == State::Accepted || state == State::Presenting) {
      rejectRequest(std::move(completion), "Another presentation is in progress.");
      return;
    }
    request.emplace();
    request->completion = std::move(completion);
    request->timeout = mainQueue.after(kRequestTimeout, [this] { requestTimedOut(); });
    if (state == State::Idle) open();
  }

  void requestTimedOut() {
    if (state == State::Opening) abandonOpening();
    completeRequest(presentationError("The screen did not open in time."));
  }

  void open() {
    state = State::Opening;
    pendingClose.reset();
    if (openInProgress) return;  // screenDidOpen() calls retryOpening()
    if (screen.isOpen()) {
      post(&Impl::retryOpening);
      return;
    }
    openInProgress = true;
    screen.open([weak = weak_from_this()](std::optional<Error> error) {
      if (const auto impl = weak.lock()) impl->screenDidOpen(error);
    });
  }

  /// Continues a request that found the screen open or an abandoned open() in progress.
  void retryOpening() {
    if (state != State::Opening || openInProgress) return;
    if (screen.isOpen()) {
      present();
    } else {
      open();
    }
  }

  void abandonOpening() {
    state = State::Idle;
    openAbandoned = openInProgress;
    screen.close();
  }

  void screenDidOpen(const std::optional<Error>& error) {
    openInProgress = false;
    if (std::exchange(openAbandoned, false)) {
      if (state == State::Opening) {
        post(&Impl::retryOpening);
      } else if (!error) {
        screen.close();
      }
    } else if (error) {
      state = State::Idle;
      completeRequest(error);
    } else {
      present();
    }
  }

  void present() {
    root = makeRoot ? makeRoot() : nullptr;
    if (!root) {
      abandonOpening();
      completeRequest(presentationError("There is nothing to present."));
      return;
    }
    state = State::Accepted;
    endAfterBegin = false;
    proxy = std::make_shared<Proxy>(weak_from_this());
    ++presentation;
    root->setHostProxy(proxy);
    window = std::make_unique<Window>(mainQueue, root, [this](std::shared_ptr<const Scene> scene) {
      screen.setScene(std::move(scene));
    });
    post(&Impl::begin);
    completeRequest(std::nullopt);
  }

  void begin() {
    if (state != State::Accepted) return;
    state = State::Presenting;
    root->viewServiceBeginPresentationWithOptions({});
    if (endAfterBegin) end();
  }

  void end() {
    switch (state) {
      case State::Idle:
      case State::Ending:
        break;
      case State::Opening:
        abandonOpening();
        post(&Impl::completeEndedRequest);
        break;
      case State::Accepted:
        endAfterBegin = true;
        break;
      case State::Presenting:
        // Later, because the root may be the caller, which must not be called back synchronously.
        state = State::Ending;
        post(&Impl::endRoot);
        break;
    }
  }

  void completeEndedRequest() {
    completeRequest(presentationError("The presentation was ended before it began."));
  }

  void endRoot() {
    const auto ended = [weak = weak_from_this(), number = presentation] {
      const auto impl = weak.lock();
      if (impl) impl->rootDidEnd(number);
    };
    endTimeout = mainQueue.after(kEndTimeout, ended);
    root->viewServiceEndPresentationWithOptions({}, ended);
  }

  void rootDidEnd(std::uint64_t number) {
    if (number != presentation || state != State::Ending || !endTimeout) return;
    endTimeout.reset();
    // Later, because the root or the window may be a caller of this function.
    post(&Impl::finish);
  }

  void finish() {
    state = State::Idle;
    proxy.reset();
    window.reset();
    root.reset();
    if (request) {
      open();
    } else {
      pendingClose = mainQueue.after(Duration::zero(), [this] {
        pendingClose.reset();
        screen.close();
      });
    }
  }

  void close() {
    request.reset();
    endTimeout.reset();
    pendingClose.reset();
    openAbandoned = openInProgress;
    state = State::Idle;
    proxy.reset();
    window.reset();
    root.reset();
  }

  bool handleInput(const InputEvent& event) {
    if (!window) return false;
    const auto* press = std::get_if<PressType>(&event.what);
    if (press && *press == PressType::Home) {
      if (!event.repeated) end();
    } else if (state != State::Ending) {
      const bool isTaken = window->handleInput(event);
      const bool isMenu = press && *press == PressType::Menu && !event.repeated;
      if (!isTaken && isMenu && state == State::Presenting) end();
    }
    return true;
  }
};

ViewServiceHost::ViewServiceHost(MainQueue& mainQueue, Screen& screen)
    : _impl(std::make_shared<Impl>(mainQueue, screen)) {
  const std::weak_ptr<Impl> weak = _impl;
  screen.setInputHandler([weak](const InputEvent& event) {
    if (const auto impl = weak.lock()) impl->handleInput(event);
  });
  screen.setClosedHandler([weak] {
    const auto impl = weak.lock();
    // While the screen opens, the completion of open() reports the error.
    if (impl && impl->state != Impl::State::Opening) impl->end();
  });
}

ViewServiceHost::~ViewServiceHost() {
  _impl->screen.setInputHandler(nullptr);
  _impl->screen.setClosedHandler(nullptr);
}

void ViewServiceHost::setRootViewControllerFactory(RootFactory factory) {
  _impl->makeRoot = std::move(factory);
}

void ViewServiceHost::requestPresentation(Completion completion) {
  _impl->requestPresentation(std::move(completion));
}

void ViewServiceHost::endPresentation() { _impl->end(); }

void ViewServiceHost::close() { _impl->close(); }

bool ViewServiceHost::handleInput(const InputEvent& event) { return _impl->handleInput(event); }

bool ViewServiceHost::isPresenting() const { return _impl->root != nullptr; }

std::shared_ptr<ViewServiceViewController> ViewServiceHost::rootViewController() const {
  return _impl->root;
}

Window* ViewServiceHost::window() { return _impl->window.get(); }

Screen& ViewServiceHost::screen() { return _impl->screen; }

}  // namespace platform
