#include "tests/random/WatchedBox.h"

#include <algorithm>
#include <utility>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneReceiverDelegate.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "TVVorlane/screens/TVVorlaneMediaViewController.h"
#include "platform/services/Platform.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"

namespace random_sessions {

using platform::Dictionary;
using scenarios::Answer;
using scenarios::Call;
namespace Type = TVVorlaneSessionType;

namespace {

/// A screen that was asked to open before may fail for this long afterwards.
constexpr auto kScreenPatience = std::chrono::seconds(10);
constexpr std::size_t kMaxSessions = 16;

bool contains(const std::vector<std::shared_ptr<TVVorlaneSession>>& sessions,
              const TVVorlaneSession* session) {
  return std::any_of(sessions.begin(), sessions.end(),
                     [&](const auto& each) { return each.get() == session; });
}

}  // namespace

TVVorlaneSessionManager& WatchedBox::_manager() {
  return *TVVorlaneSessionManager::sharedInstance();
}

/// Hears the events of all sessions and forwards them to the receiver delegate.
class WatchedBox::Ear final : public TVVorlaneSessionDelegate {
 public:
  explicit Ear(WatchedBox& box) : _box(box) {}
  void session(TVVorlaneSession& session, const std::string& didPerformEvent,
               const std::optional<Dictionary>& withInfo) override {
    _box._heard(session, didPerformEvent, withInfo);
    _box._box.application().receiverDelegate()->session(session, didPerformEvent, withInfo);
  }

 private:
  WatchedBox& _box;
};

WatchedBox::WatchedBox(sim::BoxOptions options)
    : _box(options), _ear(std::make_shared<Ear>(*this)) {
  _registryObserver = _box.box().notificationCenter().addObserver(
      TVVorlaneSessionManagerActiveSessionsDidChangeNotification, nullptr,
      [this](const auto&) { _registryDidChange(); });
}

WatchedBox::~WatchedBox() { _registryObserver.reset(); }

void WatchedBox::_require(bool holds, const std::string& rule) {
  if (!holds && _fault.empty()) _fault = rule;
}

void WatchedBox::_heard(TVVorlaneSession& session, const std::string& name,
                        const std::optional<Dictionary>& info) {
  _posted.push_back(name);
  ++_eventCounts[name];
  const auto rules = _rules.find(&session);
  _require(rules != _rules.end(), "event '" + name + "' of a session that was never registered");
  if (rules == _rules.end()) return;
  const Dictionary entries = info.value_or(Dictionary());
  _report(rules->second->onEvent(name, entries, _now()));
  if (name == "failedURLRequest") _lastRequest = entries;
}

void WatchedBox::_registryDidChange() {
  const auto sessions = _manager().activeSessions();
  for (const auto& gone : Registry(_registry)) {
    const auto session = gone->session().lock();
    if (session && contains(sessions, session.get())) continue;
    _checkDeregistration(*gone);
    _report(gone->onDeregistration());
    std::erase(_registry, gone);
  }
  for (const auto& session : sessions) {
    const auto known = _rules.find(session.get());
    if (known != _rules.end() && known->second->session().lock() == session) {
      _require(known->second->isRegistered(), "session registered twice");
      continue;
    }
    const auto rules = std::make_shared<EventRules>(session, _now());
    _rules[session.get()] = rules;
    _registry.push_back(rules);
    session->setDelegate(_ear);
  }
}

/// A session ends by a call, 5 s after the user has stopped it, or because there are too many. An
/// info session is also ended by the user and by time.
void WatchedBox::_checkDeregistration(EventRules& session) {
  const bool byCall = !_call || (_call->ends && _call->ends.get() == &session);
  const bool byUser = session.isOverdue(_now());
  const bool isInfo = session.type() == Type::kPin || session.type() == Type::kDialog;
  _require(byCall || byUser || isInfo || _registry.size() > kMaxSessions,
           "session ended without a reason");
}

/// A call that the receiver socket refuses, because it would end the process.
bool WatchedBox::_isFatal(const Call& call) const {
  const auto rules = addressedURLSession(call, _registry);
  const auto session =
      rules ? std::dynamic_pointer_cast<TVVorlaneURLSession>(rules->session().lock()) : nullptr;
  return session && session->isFatalAction(call.string(0), call.dictionary(1));
}

bool WatchedBox::_screenMayFail() {
  return _screenFails || (_screenFailure && _now() - *_screenFailure < kScreenPatience);
}

Answer WatchedBox::call(const Call& call) {
  if (_isFatal(call)) return {};
  // A call that was begun is made first, and other things happen meanwhile.
  const bool isAlone = _box.runningCalls() == 0;
  const CallRule rule = isAlone ? ruleOf(call, _registry) : CallRule();
  const auto addressed = addressedURLSession(call, _registry);
  const auto item = call.method == "Perform"
                        ? call.dictionary(1).dictionary("item").value_or(Dictionary())
                        : Dictionary();
  if (addressed) addressed->beginCall(false, item.string("uuid"));
  if (rule.ends) rule.ends->beginCall(true, std::nullopt);
  const Registry before = _registry;
  if (isAlone) _call = &rule;
  const Answer answer = _box.call(call);
  _call = nullptr;
  if (addressed) addressed->endCall();
  if (rule.ends) rule.ends->endCall();
  if (isAlone) _checkCall(call, rule, answer, before);
  if (addressed && answer.status == 0 && call.string(0) == "failedURLResponse") {
    addressed->takeRequest(call.dictionary(1)
                               .number("FCUP_Response_RequestID")
                               .value_or(platform::Number(0))
                               .uint64Value());
  }
  return answer;
}

void WatchedBox::_checkCall(const Call& call, const CallRule& rule, const Answer& answer,
                            const Registry& before) {
  const auto what = call.method + " returned " + std::to_string(answer.status);
  const bool allowed =
      rule.statuses.empty() ||
      std::find(rule.statuses.begin(), rule.statuses.end(), answer.status) != rule.statuses.end() ||
      (rule.needsScreen && _screenMayFail());
  _require(allowed, what);
  if (rule.ends) {
    _require(answer.status != 0 || !rule.ends->isRegistered(), what + ", the session remains");
  }
  if (!rule.starts) return;
  const bool started = std::any_of(_registry.begin(), _registry.end(), [&](const auto& session) {
    const bool isNew = std::find(before.begin(), before.end(), session) == before.end();
    return isNew && session->type() == *rule.starts &&
           (!rule.number || session->sessionID() == *rule.number);
  });
  // A dialog ends at once if the screen does not open, and its call succeeds.
  const bool mayBeGone = *rule.starts == Type::kDialog && _screenMayFail();
  _require(answer.status != 0 || started || mayBeGone, what + ", there is no new session");
}

void WatchedBox::begin(const Call& call) {
  if (_isFatal(call)) return;
  _box.begin(call);
}

void WatchedBox::press(const std::string& button) {
  // Home and menu can end a presentation that is requested.
  if (button == "home" || button == "menu") _screenFailure = _now();
  if (_box.box().screen().isOpen()) _box.press(button);
}

void WatchedBox::swipe(const std::string& direction) {
  if (_box.box().screen().isOpen()) _box.swipe(direction);
}

void WatchedBox::host(const std::vector<std::string>& words) {
  const auto& word = words.at(0);
  if (word != "end" && word != "close") _screenFails = word != "accept";
  _screenFailure = _now();
  _box.host(words);
}

void WatchedBox::system(const std::vector<std::string>& words) {
  if (words.at(0) == "fails" && words.at(1) == "notifications") _notificationsFailed = true;
  _box.system(words);
}

void WatchedBox::checkAtRest() {
  _box.box().run();
  _checkReceivedEvents();
  _checkManager();
  std::size_t requests = 0;
  for (const auto& session : _registry) {
    _report(session->atRest(_now()));
    requests += session->requestCount();
  }
  for (const auto* engine : _box.box().mediaLibrary().engines()) {
    _require(engine->pendingRequests() <= requests, "a request was not sent");
    requests -= std::min(requests, engine->pendingRequests());
  }
}

void WatchedBox::_checkReceivedEvents() {
  while (const auto event = _box.nextEvent()) {
    if (_posted.empty() || _posted.front() != event->name) {
      _require(false, "event '" + event->name + "' received out of order");
      return;
    }
    _posted.pop_front();
  }
  // A running call delays the events behind it.
  _require(_posted.empty() || _box.runningCalls() > 0, "event lost");
}

void WatchedBox::_checkManager() {
  const auto sessions = _manager().activeSessions();
  const auto& state = _manager().stateMachine().currentState();
  const auto& root = _manager().mediaViewController();
  _require(sessions.size() == _registry.size(), "registry changed without a notification");
  _require(sessions.size() <= kMaxSessions, "too many sessions");
  _require(_box.application().playbackActive() == !sessions.empty(), "playback activity");
  _require((root != nullptr) == (state == "Foreground" || state == "Moving to Background"),
           "root view controller in state " + state);
  if (root) _checkSlots();
  if (state == "Foreground") {
    _require(_box.box().screen().isOpen(), "screen is closed in state Foreground");
    _require(_box.box().remoteInputLimiting().isViewServiceActive(), "remote is not active");
  }
  if (state != "Background") return;
  for (const auto& session : sessions) {
    const auto type = session->sessionType();
    const bool isShown = type == Type::kPresentation || type == Type::kVideo ||
                         type == Type::kDialog || (type == Type::kPin && !_screenFailure);
    _require(!isShown || session->deactivated(), "session waits for the screen in Background");
  }
}

void WatchedBox::_checkSlots() {
  const auto& root = *_manager().mediaViewController();
  const bool shows = _manager().stateMachine().currentState() == "Foreground";
  const auto expected = [&](std::int64_t type) -> const TVVorlaneSession* {
    const auto sessions = _manager().activeSessions();
    for (auto each = sessions.rbegin(); shows && each != sessions.rend(); ++each) {
      if ((*each)->sessionType() == type && !(*each)->deactivated()) return each->get();
    }
    return nullptr;
  };
  const std::pair<std::int64_t, const TVVorlaneSession*> slots[] = {
      {Type::kPin, root.pinInfoSession().get()},
      {Type::kDialog, root.dialogInfoSession().get()},
      {Type::kPresentation, root.presentationSession().get()},
      {Type::kVideo, root.videoPlaybackSession().get()}};
  for (const auto& [type, session] : slots)
    _require(session == expected(type), "slot of type " + std::to_string(type));
  _require((root.pinViewController() != nullptr) == (root.pinInfoSession() != nullptr) &&
               (root.presentationViewController() != nullptr) ==
                   (root.presentationSession() != nullptr) &&
               (root.videoPlayerViewController() != nullptr) ==
                   (root.videoPlaybackSession() != nullptr) &&
               (root.dialogViewController() != nullptr) == (root.dialogInfoSession() != nullptr),
           "child view controllers do not match the slots");
}

}  // namespace random_sessions
