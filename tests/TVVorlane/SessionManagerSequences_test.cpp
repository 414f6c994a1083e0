// Every short sequence of what can happen to the session manager, with real sessions and the real
// host, against a model.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "tests/TVVorlane/SessionManagerModel.h"
#include "tests/TVVorlane/Support.h"

using namespace std::chrono_literals;
using platform::Dictionary;

namespace {

/// The steps, a letter each: the five kinds register; 'x' deregisters the newest now, 'l' later;
/// 'u' the user stops the newest; 'r' the host's screen opens, 'f' it does not; 'h' Home; 't' what
/// is due; '5' five seconds.
constexpr std::string_view kSteps = "APVNDxlurfht5";
constexpr const char* kDepthVariable = "VORLANE_SEQUENCE_DEPTH";
constexpr int kDefaultDepth = 4;
const std::string kURL = "http://sender/never-ready.mp4";

/// A display that opens, or does not, when the test says so.
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
    mediaLibrary().add(kURL, {.loadDelay = 1e6});
  }
  platform::ViewServiceHost& viewServiceHost() override { return _host; }
  ManualScreen& manualScreen() { return _screen; }

 private:
  ManualScreen _screen{mainQueue()};
  platform::ViewServiceHost _host{mainQueue(), _screen};
};

/// One sequence: the steps are taken by the real manager and by the model alike.
class Trial {
 public:
  Trial() = default;
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  /// Fades that still go on hold players, which must not outlive the box.
  ~Trial() { _box.advance(1s); }

  /// False when the step cannot be taken, or does nothing, where it stands.
  bool take(char step) {
    switch (step) {
      case 'x':
      case 'l':
      case 'u':
        return _takeWithNewest(step);
      case 'r':
      case 'f':
        if (!_box.manualScreen().awaitsAnswer()) return false;
        _box.manualScreen().answer(step == 'r');
        _model.screenAnswers(step == 'r');
        return true;
      case 'h':
        if (!_model.hostIsBusy()) return false;
        _box.viewServiceHost().endPresentation();
        _model.home();
        return true;
      case 't':
        _box.run();
        _model.advance(0);
        return true;
      case '5':
        _box.advance(5s);
        _model.advance(5'000);
        return true;
      default:
        _register(step);
        return true;
    }
  }

  /// What differs from the model, or nothing.
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

  /// What is wrong after everybody has been given the time to finish, or nothing.
  std::string settle() {
    _box.manualScreen().opensByItself = true;
    if (_box.manualScreen().awaitsAnswer()) _box.manualScreen().answer(true);
    _box.advance(60s);
    for (const auto& session : _manager->activeSessions())
      _manager->deregisterSession(session, true);
    _box.advance(60s);
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
  bool _takeWithNewest(char step) {
    if (_manager->activeSessions().empty()) return false;
    const auto session = _manager->activeSessions().back();
    const int number = _numberOf(session);
    if (step == 'u') {
      if (session->sessionType() == TVVorlaneSessionType::kStreamingAudio) return false;
      session->userStop();
      _model.userStop(number);
    } else {
      _manager->deregisterSession(session, step == 'x');
      _model.deregister(number, step == 'x');
    }
    return true;
  }

  void _register(char kind) {
    const auto number = static_cast<std::uint32_t>(_sessions.size());
    std::shared_ptr<TVVorlaneSession> session;
    Dictionary options{{"sessionID", number}};
    switch (kind) {
      case 'A':
        session = std::make_shared<TVVorlaneStreamingAudioSession>();
        break;
      case 'P':
        session = std::make_shared<TVVorlanePresentationSession>();
        break;
      case 'V':
        session = std::make_shared<TVVorlaneURLSession>();
        options.set("Content-Location", kURL);
        break;
      default:
        session = std::make_shared<TVVorlaneInfoSession>();
        options.set(TVVorlaneInfoSessionCommand, kind == 'N' ? "showPIN" : "incompatibleSender");
    }
    _sessions.push_back(session);
    _completions.emplace_back();
    session->startWithOptions(options, [this, number](const auto&, const auto& error) {
      _completions[number].push_back(!error);
    });
    _model.registerSession(kind);
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
  std::optional<std::vector<int>> _slots() const {
    const auto& root = _manager->mediaViewController();
    if (!root) return std::nullopt;
    return std::vector{_numberOf(root->pinInfoSession()), _numberOf(root->dialogInfoSession()),
                       _numberOf(root->presentationSession()),
                       _numberOf(root->videoPlaybackSession())};
  }

  // Outlive the box, whose end may still call what refers to them.
  SessionManagerModel _model;
  std::vector<std::weak_ptr<TVVorlaneSession>> _sessions;
  std::vector<std::vector<bool>> _completions;
  ManualBox _box;
  std::shared_ptr<TVVorlaneSessionManager> _manager = TVVorlaneSessionManager::sharedInstance();
};

class Explorer {
 public:
  /// All sequences of up to `depth` steps behind those of `start`.
  void explore(std::string_view start, int depth) {
    _sequence = start;
    _explore(depth);
  }
  int count() const { return _count; }

 private:
  static constexpr int kMostFailures = 10;

  void _explore(int depth) {
    if (depth == 0) return;
    for (const char step : kSteps) {
      _sequence.push_back(step);
      // One that does nothing leads where the sequence without it leads.
      if (_check()) _explore(depth - 1);
      _sequence.pop_back();
      if (testing::Test::HasFailure() && ++_failures > kMostFailures) return;
    }
  }
  bool _check() {
    Trial trial;
    for (const char step : _sequence) {
      if (!trial.take(step)) return false;
    }
    ++_count;
    const std::string difference = trial.difference();
    EXPECT_EQ(difference, "") << "is not what the model has, after " << _sequence;
    const std::string fault = trial.settle();
    EXPECT_EQ(fault, "") << "at the end of " << _sequence;
    return difference.empty() && fault.empty();
  }

  std::string _sequence;
  int _count = 0;
  int _failures = 0;
};

TEST(SessionManagerSequencesTest, AgreeWithTheModelAndHaveAWayOut) {
  const char* wanted = std::getenv(kDepthVariable);
  const int depth = wanted ? std::max(1, std::atoi(wanted)) : kDefaultDepth;
  Explorer explorer;
  explorer.explore("", depth);
  // And from the foreground, which takes steps to reach.
  for (const char* shown : {"VVtrt", "NPtrt"}) explorer.explore(shown, depth - 1);
  std::printf("%d sequences to depth %d (%s)\n", explorer.count(), depth, kDepthVariable);
  EXPECT_GT(explorer.count(), depth);
}

/// Longer ones that the exhaustive run does not reach.
TEST(SessionManagerSequencesTest, LongerOnes) {
  constexpr std::string_view kSequences[] = {
      "VVtrth5t",    "VVtrthPtt55",  "VtrtxVtt5t",   "NVtftt5rt",   "VPtrtuut5",  "Vt5Vtrt5",
      "DDtrtutut5t", "VAtrtxthVtt5", "NtftNtrthtrt", "Vthtt5VVtrt", "PVNDtrthtt", "Vtrthxlt",
      "Ptrtu5Ptrt",  "VtrVhtt5rtt",  "Vtrtlxt5t",    "VtrtxtVtut5", "VthVttrt5t", "VVtftftt",
  };
  for (const auto sequence : kSequences) {
    Trial trial;
    for (std::size_t i = 0; i < sequence.size(); ++i) {
      trial.take(sequence[i]);
      EXPECT_EQ(trial.difference(), "") << "after " << sequence.substr(0, i + 1);
    }
    EXPECT_EQ(trial.settle(), "") << sequence;
  }
}

}  // namespace
