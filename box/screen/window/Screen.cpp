#include "box/screen/window/Screen.h"

#include <chrono>
#include <map>
#include <utility>
#include <vector>

#include "box/screen/window/ScreenThread.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/ui/controllers/ButtonRepeater.h"

namespace box {

using platform::Bytes;
using platform::Error;
using OpenCompletion = std::function<void(std::optional<Error>)>;
using CaptureCompletion = std::function<void(std::shared_ptr<const Bytes>)>;

namespace {

/// Less than DBusServerOptions::screenshotLimit.
constexpr platform::Duration kCaptureTimeout = std::chrono::seconds(9);

Error screenError(ScreenErrorCode code, std::string description) {
  Error error{std::string(kScreenErrorDomain), static_cast<std::int64_t>(code), {}, {}, {}};
  error.localizedDescription = std::move(description);
  return error;
}

}  // namespace

/// State of the main thread.
struct Screen::State : std::enable_shared_from_this<State> {
  struct PendingCapture {
    CaptureCompletion completion;
    platform::Token limit;
  };

  State(platform::MainQueue& theQueue, const platform::Clock& theClock, ScreenOptions theOptions)
      : queue(theQueue), clock(theClock), options(std::move(theOptions)) {}

  platform::MainQueue& queue;
  const platform::Clock& clock;
  const ScreenOptions options;
  std::function<void(const platform::InputEvent&)> inputHandler;
  std::function<void()> closedHandler;
  platform::ButtonRepeater held{queue,
                                [this](const platform::InputEvent& input) { deliver(input); }};
  /// Identifies the window between open() and close(). Events of older windows are ignored.
  std::uint64_t session = 0;
  bool open = false;
  std::vector<OpenCompletion> opening;
  std::uint64_t lastCapture = 0;
  std::map<std::uint64_t, PendingCapture> captures;
  std::unique_ptr<ScreenThread> thread;

  void start() {
    if (thread) return;
    ScreenThread::Events events;
    events.opened = [this, self = weak_from_this()](std::uint64_t which,
                                                    std::optional<std::string> failure) {
      post(self, [this, which, failure = std::move(failure)] { didOpen(which, failure); });
    };
    events.closed = [this, self = weak_from_this()](std::uint64_t which) {
      post(self, [this, which] { didClose(which); });
    };
    events.input = [this, self = weak_from_this()](std::uint64_t which, const RemoteEvent& event) {
      post(self, [this, which, event] { didReceive(which, event); });
    };
    events.captured = [this, self = weak_from_this()](std::uint64_t id,
                                                      std::shared_ptr<const Bytes> png) {
      post(self, [this, id, png = std::move(png)] { completeCapture(id, png); });
    };
    auto made = std::make_unique<ScreenThread>(clock, options, std::move(events));
    if (made->start()) thread = std::move(made);
  }

  /// Posts a task to the main thread. Called on the screen's thread, which ends before State does;
  /// the task does nothing if State is destroyed by then.
  void post(const std::weak_ptr<State>& self, std::function<void()> task) {
    queue.async([self, task = std::move(task)] {
      if (const auto alive = self.lock()) task();
    });
  }

  void didOpen(std::uint64_t which, const std::optional<std::string>& failure) {
    if (which != session || opening.empty()) return;
    std::optional<Error> error;
    if (failure) {
      TVSLogError(TVSSystemLog, "Screen: cannot open a window: %@", *failure);
      error = screenError(ScreenErrorCode::NoDisplay, *failure);
    }
    open = !failure;
    for (const auto& completion : std::exchange(opening, {})) completion(error);
  }

  void didClose(std::uint64_t which) {
    if (which != session || !open) return;
    open = false;
    held.release();
    if (const auto handler = closedHandler) handler();
  }

  void didReceive(std::uint64_t which, const RemoteEvent& event) {
    if (which != session || !open) return;
    const auto* press = std::get_if<platform::PressType>(&event.input.what);
    if (event.kind == RemoteEvent::Kind::Input) {
      deliver(event.input);
    } else if (press && event.kind == RemoteEvent::Kind::ButtonDown) {
      held.down(*press);
    } else if (press) {
      held.up(*press);
    }
  }

  // NOLINTNEXTLINE(readability-make-member-function-const): the handler may change anything
  void deliver(const platform::InputEvent& input) {
    if (const auto handler = inputHandler) handler(input);
  }

  void completeCapture(std::uint64_t id, const std::shared_ptr<const Bytes>& png) {
    auto node = captures.extract(id);
    if (!node.empty() && node.mapped().completion) node.mapped().completion(png);
  }

  /// Posts an error to the completions of a pending open().
  void cancelOpening() {
    for (auto& completion : std::exchange(opening, {})) {
      queue.async([completion = std::move(completion)] {
        completion(screenError(ScreenErrorCode::ClosedMeanwhile,
                               "The screen was closed before it was open"));
      });
    }
  }
};

Screen::Screen(platform::MainQueue& queue, const platform::Clock& clock, ScreenOptions options)
    : _state(std::make_shared<State>(queue, clock, std::move(options))) {}

Screen::~Screen() {
  _state->thread.reset();
  _state->cancelOpening();
  for (auto& [id, capture] : std::exchange(_state->captures, {})) {
    _state->queue.async([completion = std::move(capture.completion)] {
      if (completion) completion(nullptr);
    });
  }
}

void Screen::warmUp() { _state->start(); }

void Screen::open(OpenCompletion completion) {
  _state->start();
  if (!completion) completion = [](const std::optional<Error>&) {};
  if (!_state->thread) {
    _state->queue.async([completion = std::move(completion)] {
      completion(screenError(ScreenErrorCode::NoDisplay, "The screen thread cannot be started"));
    });
    return;
  }
  if (_state->open) {
    _state->queue.async([completion = std::move(completion)] { completion(std::nullopt); });
    return;
  }
  _state->opening.push_back(std::move(completion));
  if (_state->opening.size() > 1) return;
  _state->thread->open(++_state->session);
}

void Screen::close() {
  if (!_state->thread || (!_state->open && _state->opening.empty())) return;
  _state->open = false;
  _state->held.release();
  ++_state->session;
  _state->cancelOpening();
  _state->thread->close();
}

bool Screen::isOpen() const { return _state->open; }

void Screen::setScene(std::shared_ptr<const platform::Scene> scene) {
  _state->start();
  if (_state->thread) _state->thread->setScene(std::move(scene));
}

void Screen::setKeepsDisplayOn(bool keepsOn) {
  if (_state->thread) _state->thread->setKeepsDisplayOn(keepsOn);
}

void Screen::setInputHandler(std::function<void(const platform::InputEvent&)> handler) {
  _state->inputHandler = std::move(handler);
}

void Screen::setClosedHandler(std::function<void()> handler) {
  _state->closedHandler = std::move(handler);
}

void Screen::capture(CaptureCompletion completion) {
  State& state = *_state;
  const std::uint64_t id = ++state.lastCapture;
  auto limit = state.queue.after(kCaptureTimeout, [id, self = std::weak_ptr(_state)] {
    if (const auto alive = self.lock()) alive->completeCapture(id, nullptr);
  });
  state.captures.emplace(id, State::PendingCapture{std::move(completion), std::move(limit)});
  if (state.thread) {
    state.thread->capture(id);
  } else {
    state.queue.async([id, self = std::weak_ptr(_state)] {
      if (const auto alive = self.lock()) alive->completeCapture(id, nullptr);
    });
  }
}

FrameStatistics Screen::statistics() const {
  return _state->thread ? _state->thread->statistics() : FrameStatistics{};
}

}  // namespace box
