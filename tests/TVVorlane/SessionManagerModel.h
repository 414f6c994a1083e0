#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A model of the session manager, the host and the sessions, written independently of their
/// implementation. Sessions are numbers, their kinds are letters. The model has its own queue of
/// tasks and timers.
///
/// Kinds: 'A' streamed audio, 'P' presentation, 'V' video, 'N' PIN, 'D' dialog. Times: ms.
class SessionManagerModel {
 public:
  struct Session {
    char kind;
    bool deactivated = false;
    /// One entry per call of the start completion, in the form of completionText().
    std::vector<std::string> completions = {};
  };
  using Slots = std::optional<std::vector<int>>;

  /// Describes the moment of a start completion: the error code (0: success), the slots, and for
  /// each registered session whether it is deactivated.
  static std::string completionText(std::int64_t code, const Slots& slots,
                                    const std::vector<bool>& deactivated);

  // Inputs.
  void registerSession(char kind);
  void deregister(int session, bool immediately);
  void userStop(int session);
  void screenAnswers(bool opened);
  void home();
  void advance(std::int64_t time);

  // Expected state.
  const std::vector<Session>& sessions() const { return _sessions; }
  char kindOf(int session) const { return _sessions[static_cast<std::size_t>(session)].kind; }
  const std::vector<int>& registered() const { return _registered; }
  const std::string& state() const { return _state; }
  /// In the order "NDPV". Nothing if there is no root view controller.
  const Slots& slots() const { return _slots; }
  bool screenAwaitsAnswer() const { return _screen.pending && !_screen.closes; }
  bool hostIsBusy() const { return _host != Host::Idle; }
  /// Whether a turn of the main queue would do anything.
  bool anythingDue() const;
  /// Whether advancing the time would do anything.
  bool anythingWaits() const { return !_tasks.empty() || !_timers.empty(); }

  /// A key for everything that affects later results. Two sequences with equal keys have the same
  /// future. Sessions that are no longer referenced are ignored.
  std::string future() const;

 private:
  /// The action of a task or timer.
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

  // Task queue. A turn runs the pending tasks, then the due timers.
  void _later(What what) { _tasks.push_back({what, 0}); }
  int _after(std::int64_t delay, What what, int session = 0);
  void _cancel(int timer);
  void _runDue();
  void _run(const Task& task);

  // Session manager.
  void _sessionsChanged();
  void _sessionsUpdated();
  void _backgroundUpdate();
  void _foregroundUpdate();
  void _failed(std::int64_t code);
  void _complete(std::int64_t code);
  int _lastActive(char kind) const;
  bool _anythingToShow() const;
  bool _exists(int session) const;

  // Host and root view controller.
  void _request();
  void _open();
  void _giveUpOpening();
  /// `code` 0 means success.
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
