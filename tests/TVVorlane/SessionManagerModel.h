#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What the session manager, its host and its sessions should do, written down once more without
/// looking at how they do it: numbers for sessions, letters for their kinds, and a queue of its own
/// for tasks and timers.
///
/// Kinds: 'A' streamed audio, 'P' presentation, 'V' video, 'N' PIN, 'D' dialog. Times: ms.
class SessionManagerModel {
 public:
  struct Session {
    char kind;
    bool deactivated = false;
    /// One entry a call of the start completion: what completionText() says of that moment.
    std::vector<std::string> completions = {};
  };
  using Slots = std::optional<std::vector<int>>;

  /// What holds when a start completion is called: the code of its error (0: success), the slots,
  /// and of each registered session whether it is deactivated.
  static std::string completionText(std::int64_t code, const Slots& slots,
                                    const std::vector<bool>& deactivated);

  // What happens.
  void registerSession(char kind);
  void deregister(int session, bool immediately);
  void userStop(int session);
  void screenAnswers(bool opened);
  void home();
  void advance(std::int64_t time);

  // What should be seen.
  const std::vector<Session>& sessions() const { return _sessions; }
  char kindOf(int session) const { return _sessions[static_cast<std::size_t>(session)].kind; }
  const std::vector<int>& registered() const { return _registered; }
  const std::string& state() const { return _state; }
  /// By kind, in the order "NDPV"; nothing unless a root view controller is known.
  const Slots& slots() const { return _slots; }
  bool screenAwaitsAnswer() const { return _screen.pending && !_screen.closes; }
  bool hostIsBusy() const { return _host != Host::Idle; }
  /// Whether a turn would do anything.
  bool anythingDue() const;
  /// Whether time would.
  bool anythingWaits() const { return !_tasks.empty() || !_timers.empty(); }

  /// Everything that decides what is seen from here on: two sequences that end with the same
  /// have the same future. Sessions that nobody knows any more are not part of it.
  std::string future() const;

 private:
  /// What a task or timer does.
  enum class What : char {
    Update = 'a',
    TimeOut,
    Deregister,
    RequestTimesOut,
    ScreenOpens,
    ScreenFails,
    Open,
    Begin,
    RefuseRequest,
    TellRoot,
    Fade,
    Finish,
    Close,
  };
  enum class Host { Idle, Opening, Answered, Presenting, Ending };
  struct Task {
    What what;
    int session;
  };
  struct Timer {
    std::int64_t deadline;
    int number;
    Task task;
  };

  struct Screen {
    bool pending = false;
    bool closes = false;
    bool open = false;
  };

  // The queue: in a turn the tasks that are there, then the timers that are due.
  void _later(What what) { _tasks.push_back({what, 0}); }
  int _after(std::int64_t delay, What what, int session = 0);
  void _cancel(int timer);
  void _runDue();
  void _run(const Task& task);

  // The manager.
  void _sessionsChanged();
  void _sessionsUpdated();
  void _backgroundUpdate();
  void _foregroundUpdate();
  void _failed(std::int64_t code);
  void _complete(std::int64_t code);
  int _lastActive(char kind) const;
  bool _anythingToShow() const;
  bool _exists(int session) const;

  // The host and the root view controller.
  void _request();
  void _open();
  void _giveUpOpening();
  /// 0: with success.
  void _answer(std::int64_t code);
  void _begin();
  void _end();
  void _tellRoot();
  void _faded();
  void _finish();

  std::int64_t _now = 0;
  int _lastTimer = 0;
  std::vector<Task> _tasks;
  std::vector<Timer> _timers;

  std::vector<Session> _sessions;
  std::vector<int> _registered;
  std::vector<int> _pending;
  std::string _state = "Background";
  Slots _slots;
  int _update = 0;

  Host _host = Host::Idle;
  bool _requested = false;
  int _requestTimeout = 0;
  int _pendingClose = 0;
  Screen _screen;
  bool _givenUp = false;
  bool _endsOnceBegun = false;
  bool _dismissing = false;
  bool _presentationEnds = false;
};
