#include "tests/TVVorlane/SessionManagerModel.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kSlotKinds = "NDPV";
constexpr int kNobody = -1;
/// Error codes if the screen does not open, and if the host reports the failure itself.
constexpr std::int64_t kScreenFails = -1;
constexpr std::int64_t kHostRefuses = -6700;

bool isInfo(char kind) { return kind == 'N' || kind == 'D'; }

bool contains(const std::vector<int>& numbers, int number) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

}  // namespace

std::string SessionManagerModel::completionText(std::int64_t code, const Slots& slots,
                                                const std::vector<bool>& deactivated) {
  std::string text = std::to_string(code);
  for (const int number : slots.value_or(std::vector<int>())) text += '/' + std::to_string(number);
  for (const bool each : deactivated) text += each ? '-' : '+';
  return text;
}

// Task queue.

int SessionManagerModel::_after(std::int64_t delay, What what, int session) {
  _timers.push_back({_now + delay, ++_lastTimer, {what, session}});
  return _lastTimer;
}

void SessionManagerModel::_cancel(int timer) {
  std::erase_if(_timers, [&](const Timer& entry) { return entry.number == timer; });
}

bool SessionManagerModel::anythingDue() const {
  return !_tasks.empty() || std::any_of(_timers.begin(), _timers.end(), [this](const auto& timer) {
    return timer.deadline <= _now;
  });
}

void SessionManagerModel::_runDue() {
  const auto nextTimer = [this] {
    return std::min_element(_timers.begin(), _timers.end(), [](const Timer& a, const Timer& b) {
      return std::pair(a.deadline, a.number) < std::pair(b.deadline, b.number);
    });
  };
  const auto isDue = [&](auto timer) { return timer != _timers.end() && timer->deadline <= _now; };
  while (anythingDue()) {
    for (const auto& task : std::exchange(_tasks, {})) _run(task);
    const int last = _lastTimer;
    for (auto timer = nextTimer(); isDue(timer) && timer->number <= last; timer = nextTimer()) {
      const Task task = timer->task;
      _timers.erase(timer);
      _run(task);
    }
  }
}

void SessionManagerModel::_run(const Task& task) {
  switch (task.what) {
    case What::Update:
      return _sessionsUpdated();
    case What::TimeOut:
      if (contains(_registered, task.session)) deregister(task.session, true);
      return;
    case What::Deregister:
      if (_exists(task.session)) deregister(task.session, true);
      return;
    case What::RequestTimesOut:
      if (_host == Host::Opening) _giveUpOpening();
      return _answer(kHostRefuses);
    case What::ScreenOpens:
      return screenAnswers(true);
    case What::ScreenFails:
      return screenAnswers(false);
    case What::Open:
      return _open();
    case What::Begin:
      return _begin();
    case What::RefuseRequest:
      return _answer(kHostRefuses);
    case What::TellRoot:
      return _tellRoot();
    case What::Fade:
      return _faded();
    case What::Finish:
      return _finish();
    case What::Close:
      _screen.open = false;
  }
}

void SessionManagerModel::advance(std::int64_t time) {
  const std::int64_t end = _now + time;
  _runDue();
  while (!_timers.empty()) {
    std::int64_t next = end + 1;
    for (const auto& timer : _timers) next = std::min(next, timer.deadline);
    if (next > end) break;
    _now = next;
    _runDue();
  }
  _now = end;
}

std::string SessionManagerModel::future() const {
  std::string text = _state;
  const auto add = [&](char mark, auto number) { (text += mark) += std::to_string(number); };
  for (const bool flag : {_requested, _screen.pending, _screen.closes, _screen.open, _givenUp,
                          _endsOnceBegun, _dismissing, _presentationEnds, _slots.has_value()})
    text += flag ? '+' : '-';
  add('h', static_cast<int>(_host));
  // Sessions are numbered by order, ignoring sessions that no longer exist.
  std::vector<int> known;
  for (int number = 0; number < static_cast<int>(_sessions.size()); ++number) {
    if (!_exists(number)) continue;
    const auto& session = _sessions[static_cast<std::size_t>(number)];
    (text += session.kind) += session.deactivated ? '-' : '+';
    add('c', session.completions.size());
    known.push_back(number);
  }
  const auto place = [&](int number) {
    return std::find(known.begin(), known.end(), number) - known.begin();
  };
  for (const int number : _registered) add('r', place(number));
  for (const int number : _pending) add('p', place(number));
  if (_slots) {
    for (const int number : *_slots) add('s', place(number));
  }
  const auto addTask = [&](const Task& task) {
    const bool ofASession = task.what == What::TimeOut || task.what == What::Deregister;
    add(static_cast<char>(task.what), ofASession ? place(task.session) : 0);
  };
  for (const auto& task : _tasks) addTask(task);
  // In creation order, which decides between timers that are due at the same time.
  for (const auto& timer : _timers) {
    const bool cancellable =
        timer.number == _update || timer.number == _requestTimeout || timer.number == _pendingClose;
    add(cancellable ? '~' : '@', timer.deadline - _now);
    addTask(timer.task);
  }
  return text;
}

// Session manager.

void SessionManagerModel::registerSession(char kind) {
  const int session = static_cast<int>(_sessions.size());
  _sessions.push_back({kind});
  _registered.push_back(session);
  _pending.push_back(session);
  _sessionsChanged();
  if (isInfo(kind)) _after(30'000, What::TimeOut, session);
}

void SessionManagerModel::deregister(int session, bool immediately) {
  if (immediately) {
    std::erase(_registered, session);
    _sessionsChanged();
    return;
  }
  _sessions[static_cast<std::size_t>(session)].deactivated = true;
  _sessionsChanged();
  _after(5'000, What::Deregister, session);
}

void SessionManagerModel::userStop(int session) {
  const char kind = _sessions[static_cast<std::size_t>(session)].kind;
  if (kind != 'A') deregister(session, isInfo(kind));
}

bool SessionManagerModel::_exists(int session) const {
  return contains(_registered, session) || contains(_pending, session) ||
         (_slots && contains(*_slots, session));
}

void SessionManagerModel::_sessionsChanged() {
  _cancel(_update);
  _update = _after(0, What::Update);
}

void SessionManagerModel::_sessionsUpdated() {
  if (_state == "Background") _backgroundUpdate();
  if (_state == "Foreground") _foregroundUpdate();
}

int SessionManagerModel::_lastActive(char kind) const {
  int last = kNobody;
  for (const int number : _registered) {
    const auto& session = _sessions[static_cast<std::size_t>(number)];
    if (session.kind == kind && !session.deactivated) last = number;
  }
  return last;
}

bool SessionManagerModel::_anythingToShow() const {
  return std::any_of(kSlotKinds.begin(), kSlotKinds.end(),
                     [this](char kind) { return _lastActive(kind) != kNobody; });
}

void SessionManagerModel::_backgroundUpdate() {
  if (_anythingToShow()) {
    _state = "Moving to Foreground";
    _request();
  } else {
    _state = "Background";
    _complete(0);
  }
}

void SessionManagerModel::_foregroundUpdate() {
  const bool shows = _anythingToShow();
  for (std::size_t i = 0; i < kSlotKinds.size(); ++i) {
    (*_slots)[i] = shows && !_presentationEnds ? _lastActive(kSlotKinds[i]) : kNobody;
  }
  if (shows && !_presentationEnds) {
    _state = "Foreground";
  } else {
    _state = "Moving to Background";
    if (!shows && !std::exchange(_dismissing, true)) _end();
  }
  // Completions stay pending while the host ends the presentation.
  if (!shows || !_presentationEnds) _complete(0);
}

void SessionManagerModel::_failed(std::int64_t code) {
  if (_state != "Moving to Foreground") return;
  _complete(code);
  _state = "Background";
  for (const char kind : {'D', 'P', 'V'}) {
    if (const int session = _lastActive(kind); session != kNobody) userStop(session);
  }
}

void SessionManagerModel::_complete(std::int64_t code) {
  std::vector<bool> deactivated;
  for (const int number : _registered)
    deactivated.push_back(_sessions[static_cast<std::size_t>(number)].deactivated);
  for (const int number : std::exchange(_pending, {})) {
    auto& session = _sessions[static_cast<std::size_t>(number)];
    session.completions.push_back(
        completionText(isInfo(session.kind) ? 0 : code, _slots, deactivated));
  }
}

// Host and root view controller.

void SessionManagerModel::_request() {
  _requested = true;
  _requestTimeout = _after(5'000, What::RequestTimesOut);
  if (_host == Host::Idle) _open();
}

void SessionManagerModel::_answer(std::int64_t code) {
  if (!std::exchange(_requested, false)) return;
  _cancel(_requestTimeout);
  if (code != 0) _failed(code);
}

void SessionManagerModel::_open() {
  _host = Host::Opening;
  _cancel(_pendingClose);
  if (_screen.pending) return;
  if (_screen.open) {
    _later(What::ScreenOpens);
  } else {
    _screen.pending = true;
    _screen.closes = false;
  }
}

void SessionManagerModel::_giveUpOpening() {
  _host = Host::Idle;
  _givenUp = _screen.pending;
  _screen.open = false;
  if (_screen.pending && !std::exchange(_screen.closes, true)) {
    _later(What::ScreenFails);
  }
}

void SessionManagerModel::screenAnswers(bool opened) {
  _screen.pending = false;
  _screen.open = opened;
  if (std::exchange(_givenUp, false)) {
    if (_host == Host::Opening) _later(What::Open);
  } else if (opened) {
    _host = Host::Answered;
    _endsOnceBegun = _dismissing = _presentationEnds = false;
    _later(What::Begin);
    _answer(0);
  } else {
    _host = Host::Idle;
    _answer(kScreenFails);
  }
}

void SessionManagerModel::_begin() {
  _host = Host::Presenting;
  _slots.emplace(kSlotKinds.size(), kNobody);
  _foregroundUpdate();
  if (_endsOnceBegun) _end();
}

void SessionManagerModel::home() { _end(); }

void SessionManagerModel::_end() {
  if (_host == Host::Opening) {
    _giveUpOpening();
    _later(What::RefuseRequest);
  } else if (_host == Host::Answered) {
    _endsOnceBegun = true;
  } else if (_host == Host::Presenting) {
    _host = Host::Ending;
    _later(What::TellRoot);
  }
}

void SessionManagerModel::_tellRoot() {
  _presentationEnds = true;
  if (!_dismissing) {
    for (const int session : std::vector(*_slots)) {
      if (session != kNobody) userStop(session);
    }
  }
  _after(300, What::Fade);
}

void SessionManagerModel::_faded() {
  _later(What::Finish);
  if (_state != "Moving to Background") return;
  _slots.reset();
  _backgroundUpdate();
}

void SessionManagerModel::_finish() {
  _host = Host::Idle;
  if (_requested) {
    _open();
  } else {
    _pendingClose = _after(0, What::Close);
  }
}
