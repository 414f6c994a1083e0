#pragma once

#include <algorithm>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/SessionManagerModel.h"
#include "tests/TVVorlane/Support.h"

/// One letter per step. A, P, V, N, D: register a session of this kind. x: deregister the newest
/// session immediately, l: with delay. u: the user stops the newest session. r: the screen opens,
/// f: it fails to open. h: Home. t: run what is due. 5: advance five seconds.
inline constexpr std::string_view kSteps = "APVNDxlurfht5";
/// A screen whose open() completes when the test calls answer().
class ManualScreen final : public platform::Screen {
 public:
  explicit ManualScreen(platform::MainQueue& mainQueue) : _mainQueue(mainQueue) {}

  void open(std::function<void(std::optional<platform::Error>)> completion) override {
    _completion = std::move(completion);
    _closes = false;
    if (opensByItself) _mainQueue.async([this] { answer(true); });
  }
  void close() override {
    if (_completion && !std::exchange(_closes, true)) {
      _mainQueue.async([this] { answer(false); });
    }
    _open = false;
  }
  bool isOpen() const override { return _open; }
  void setScene(std::shared_ptr<const platform::Scene>) override {}
  void setInputHandler(std::function<void(const platform::InputEvent&)>) override {}
  void setClosedHandler(std::function<void()>) override {}
  void capture(std::function<void(std::shared_ptr<const platform::Bytes>)>) override {}

  bool awaitsAnswer() const { return _completion && !_closes; }
  void answer(bool opens) {
    const auto completion = std::exchange(_completion, nullptr);
    if (!completion) return;
    _open = opens;
    completion(opens ? std::nullopt : std::optional(platform::Error::status(-1)));
  }

  bool opensByItself = false;

 private:
  platform::MainQueue& _mainQueue;
  std::function<void(std::optional<platform::Error>)> _completion;
  bool _closes = false;
  bool _open = false;
};

class ManualBox final : public sim::Box {
 public:
  ManualBox() : Box({.logLevel = 3}) {
    _host.setRootViewControllerFactory(
        [] { return std::make_shared<TVVorlaneMediaViewController>(); });
    mediaLibrary().add(kVideoURL, {.loadDelay = 1e6});
  }
  platform::ViewServiceHost& viewServiceHost() override { return _host; }
  ManualScreen& manualScreen() { return _screen; }

 private:
  ManualScreen _screen{mainQueue()};
  platform::ViewServiceHost _host{mainQueue(), _screen};
};

/// Whether a step has an effect in the current state of the model.
inline bool isPossible(char step, const SessionManagerModel& model) {
  const auto& registered = model.registered();
  switch (step) {
    case 'x':
    case 'l':
      return !registered.empty();
    case 'u':
      return !registered.empty() && model.kindOf(registered.back()) != 'A';
    case 'r':
    case 'f':
      return model.screenAwaitsAnswer();
    case 'h':
      return model.hostIsBusy();
    case 't':
      return model.anythingDue();
    case '5':
      return model.anythingWaits();
    default:
      return true;
  }
}

inline void takeInModel(char step, SessionManagerModel& model) {
  switch (step) {
    case 'x':
    case 'l':
      return model.deregister(model.registered().back(), step == 'x');
    case 'u':
      return model.userStop(model.registered().back());
    case 'r':
    case 'f':
      return model.screenAnswers(step == 'r');
    case 'h':
      return model.home();
    case 't':
      return model.advance(0);
    case '5':
      return model.advance(5'000);
    default:
      return model.registerSession(step);
  }
}

/// Runs sequences of steps on the real session manager and on the model.
class Trial {
 public:
  Trial() = default;
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  /// Running fades own players, which must not outlive the box.
  ~Trial() { _box.advance(std::chrono::seconds(1)); }

  /// Starts the next sequence. The previous one must have settled without a fault.
  void begin() {
    _box.manualScreen().opensByItself = false;
    _box.clearLog();
    _box.journal().clear();
    _model = {};
    _sessions.clear();
    _completions.clear();
  }

  /// Executes a step. It must be possible.
  void take(char step) {
    const auto newest =
        _manager->activeSessions().empty() ? nullptr : _manager->activeSessions().back();
    switch (step) {
      case 'x':
      case 'l':
        _manager->deregisterSession(newest, step == 'x');
        break;
      case 'u':
        newest->userStop();
        break;
      case 'r':
      case 'f':
        _box.manualScreen().answer(step == 'r');
        break;
      case 'h':
        _box.viewServiceHost().endPresentation();
        break;
      case 't':
        _box.run();
        break;
      case '5':
        _box.advance(std::chrono::seconds(5));
        break;
      default:
        _register(step);
    }
    takeInModel(step, _model);
  }
  const SessionManagerModel& model() const { return _model; }

  /// Returns the first difference from the model, or an empty string.
  std::string difference() {
    if (_manager->stateMachine().currentState() != _model.state()) return "the state";
    if (_registered() != _model.registered()) return "the registry";
    if (_slots() != _model.slots()) return "the slots";
    if (_box.manualScreen().awaitsAnswer() != _model.screenAwaitsAnswer()) return "the screen";
    for (std::size_t i = 0; i < _completions.size(); ++i) {
      if (_completions[i] != _model.sessions()[i].completions) return "a completion";
      const auto session = _sessions[i].lock();
      if (session && session->deactivated() != _model.sessions()[i].deactivated)
        return "a deactivated session";
    }
    return {};
  }

  /// The observable part of the real state, as a key.
  std::string future() {
    const auto deadline = _box.mainQueue().nextDeadline();
    const auto& root = _manager->mediaViewController();
    std::string text;
    for (const auto number : std::initializer_list<std::int64_t>{
             deadline ? (*deadline - _box.clock().now()).count() : -1,
             _box.viewServiceHost().isPresenting(), _box.manualScreen().isOpen(),
             root ? static_cast<std::int64_t>(root->children().size()) : -1,
             std::count_if(_sessions.begin(), _sessions.end(),
                           [](const auto& session) { return !session.expired(); })})
      text += '/' + std::to_string(number);
    return text;
  }

  /// Lets everything finish and returns a fault, or an empty string. With `inAHurry`, stops all
  /// sessions first.
  std::string settle(bool inAHurry) {
    if (inAHurry) _stopAll();
    _box.manualScreen().opensByItself = true;
    if (_box.manualScreen().awaitsAnswer()) _box.manualScreen().answer(true);
    _box.advance(std::chrono::seconds(60));
    if (!inAHurry) {
      _stopAll();
      _box.advance(std::chrono::seconds(60));
    }
    if (_manager->stateMachine().currentState() != "Background") return "not in the background";
    if (_manager->mediaViewController()) return "a root view controller is left";
    if (_box.viewServiceHost().isPresenting()) return "something is presented";
    if (_box.manualScreen().isOpen()) return "the screen is open";
    for (const auto& completions : _completions) {
      if (completions.size() != 1) return "a completion was not called exactly once";
    }
    for (const auto& session : _sessions) {
      if (!session.expired()) return "a session is left";
    }
    if (_box.mainQueue().nextDeadline()) return "a timer is left";
    return {};
  }

 private:
  void _stopAll() {
    for (const auto& session : std::vector(_manager->activeSessions()))
      _manager->deregisterSession(session, true);
  }
  void _register(char kind) {
    const auto number = static_cast<std::uint32_t>(_sessions.size());
    std::shared_ptr<TVVorlaneSession> session;
    platform::Dictionary options{{"sessionID", number}};
    switch (kind) {
      case 'A':
        session = std::make_shared<TVVorlaneStreamingAudioSession>();
        break;
      case 'P':
        session = std::make_shared<TVVorlanePresentationSession>();
        break;
      case 'V':
        session = std::make_shared<TVVorlaneURLSession>();
        options.set("Content-Location", kVideoURL);
        break;
      default:
        session = std::make_shared<TVVorlaneInfoSession>();
        options.set(TVVorlaneInfoSessionCommand, kind == 'N' ? "showPIN" : "incompatibleSender");
    }
    _sessions.push_back(session);
    _completions.emplace_back();
    session->startWithOptions(options, [this, number](const auto&, const auto& error) {
      std::vector<bool> deactivated;
      for (const auto& each : _manager->activeSessions())
        deactivated.push_back(each->deactivated());
      _completions[number].push_back(
          SessionManagerModel::completionText(error ? error->code : 0, _slots(), deactivated));
    });
  }

  int _numberOf(const std::shared_ptr<TVVorlaneSession>& session) const {
    for (std::size_t i = 0; i < _sessions.size(); ++i) {
      if (session && _sessions[i].lock() == session) return static_cast<int>(i);
    }
    return -1;
  }
  std::vector<int> _registered() const {
    std::vector<int> numbers;
    for (const auto& session : _manager->activeSessions()) numbers.push_back(_numberOf(session));
    return numbers;
  }
  SessionManagerModel::Slots _slots() const {
    const auto& root = _manager->mediaViewController();
    if (!root) return std::nullopt;
    return std::vector{_numberOf(root->pinInfoSession()), _numberOf(root->dialogInfoSession()),
                       _numberOf(root->presentationSession()),
                       _numberOf(root->videoPlaybackSession())};
  }

  // These outlive the box, because callbacks during its destruction use them.
  SessionManagerModel _model;
  std::vector<std::weak_ptr<TVVorlaneSession>> _sessions;
  std::vector<std::vector<std::string>> _completions;
  ManualBox _box;
  std::shared_ptr<TVVorlaneSessionManager> _manager = TVVorlaneSessionManager::sharedInstance();
};
