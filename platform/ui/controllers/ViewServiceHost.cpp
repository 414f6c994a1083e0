#include "platform/ui/controllers/ViewServiceHost.h"

#include <utility>

#include "platform/foundation/Assertion.h"

namespace platform {

namespace {

constexpr Duration kAnswerBound = std::chrono::seconds(5);
constexpr Duration kEndBound = std::chrono::seconds(5);
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
    Answered,    // the request succeeded; the presentation begins on the next turn
    Presenting,  // begun
    Ending,      // the root was told, or will be on the next turn, to end
  };

  struct Request {
    Completion completion;
    Token timeout;
  };

  /// What a root view controller is given. One that outlives its presentation cannot end the next
  /// one.
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
  /// The one being opened, or one that waits until the last presentation has ended.
  std::optional<Request> request;
  /// The screen has still to answer an open(), which must not be called again before.
  bool openIsUnderWay = false;
  /// Nobody waits any more for the open() that is under way.
  bool openIsGivenUp = false;
  std::uint64_t presentation = 0;
  bool endsOnceBegun = false;
  std::shared_ptr<ViewServiceViewController> root;
  std::shared_ptr<Proxy> proxy;
  std::unique_ptr<Window> window;
  Token endTimeout;
  Token pendingClose;

  /// On a later turn, unless the host has died by then.
  void later(void (Impl::*operation)()) {
    mainQueue.async([weak = weak_from_this(), operation] {
      if (const auto impl = weak.lock()) (impl.get()->*operation)();
    });
  }

  void answer(const std::optional<Error>& error) {
    if (!request) return;
    const Completion completion = std::move(request->completion);
    request.reset();
    if (completion) completion(!error, error);
  }

  void refuse(Completion completion, std::string description) {
    mainQueue.async([completion = std::move(completion), text = std::move(description)] {
      if (completion) completion(false, presentationError(text));
    });
  }

  void requestPresentation(Completion completion) {
    if (request || state == State::Answered || state == State::Presenting) {
      refuse(std::move(completion), "Something is presented already.");
      return;
    }
    request.emplace();
    request->completion = std::move(completion);
    request->timeout = mainQueue.after(kAnswerBound, [this] { requestTimedOut(); });
    if (state == State::Idle) open();
  }

  void requestTimedOut() {
    if (state == State::Opening) giveUpOpening();
    answer(presentationError("The screen did not open in time."));
  }

  void open() {
    state = State::Opening;
    pendingClose.reset();
    if (openIsUnderWay) return;  // given up earlier; its answer leads on
    if (screen.isOpen()) {
      later(&Impl::openAgain);
      return;
    }
    openIsUnderWay = true;
    screen.open([weak = weak_from_this()](std::optional<Error> error) {
      if (const auto impl = weak.lock()) impl->screenAnswered(error);
    });
  }

  /// For a request that found the screen still open, or busy with an open() given up.
  void openAgain() {
    if (state != State::Opening || openIsUnderWay) return;
    if (screen.isOpen()) {
      present();
    } else {
      open();
    }
  }

  void giveUpOpening() {
    state = State::Idle;
    openIsGivenUp = openIsUnderWay;
    screen.close();
  }

  void screenAnswered(const std::optional<Error>& error) {
    openIsUnderWay = false;
    if (std::exchange(openIsGivenUp, false)) {
      if (state == State::Opening) {
        later(&Impl::openAgain);
      } else if (!error) {
        screen.close();
      }
    } else if (error) {
      state = State::Idle;
      answer(error);
    } else {
      present();
    }
  }

  void present() {
    root = makeRoot ? makeRoot() : nullptr;
    if (!root) {
      giveUpOpening();
      answer(presentationError("There is nothing to present."));
      return;
    }
    state = State::Answered;
    endsOnceBegun = false;
    proxy = std::make_shared<Proxy>(weak_from_this());
    ++presentation;
    root->setHostProxy(proxy);
    window = std::make_unique<Window>(mainQueue, root, [this](std::shared_ptr<const Scene> scene) {
      screen.setScene(std::move(scene));
    });
    later(&Impl::begin);
    answer(std::nullopt);
  }

  void begin() {
    if (state != State::Answered) return;
    state = State::Presenting;
    root->viewServiceBeginPresentationWithOptions({});
    if (endsOnceBegun) end();
  }

  void end() {
    switch (state) {
      case State::Idle:
      case State::Ending:
        break;
      case State::Opening:
        giveUpOpening();
        later(&Impl::answerEnded);
        break;
      case State::Answered:
        endsOnceBegun = true;
        break;
      case State::Presenting:
        // Later, because it may be the root that asks for it, and it is not to be called back from
        // there.
        state = State::Ending;
        later(&Impl::tellRoot);
        break;
    }
  }

  void answerEnded() { answer(presentationError("The presentation was ended before it began.")); }

  void tellRoot() {
    const auto ended = [weak = weak_from_this(), number = presentation] {
      const auto impl = weak.lock();
      if (impl) impl->rootDidEnd(number);
    };
    endTimeout = mainQueue.after(kEndBound, ended);
    root->viewServiceEndPresentationWithOptions({}, ended);
  }

  void rootDidEnd(std::uint64_t number) {
    if (number != presentation || state != State::Ending || !endTimeout) return;
    endTimeout.reset();
    // Later, because it may be the root, or input that the window is still delivering, that leads
    // here.
    later(&Impl::finish);
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
    openIsGivenUp = openIsUnderWay;
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
    // While it opens, the answer to open() tells.
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
