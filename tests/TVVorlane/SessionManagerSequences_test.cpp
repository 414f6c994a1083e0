// Runs every short sequence of steps on the real session manager and host, and compares it with a
// model.

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <stdexcept>
#include <unordered_map>

#include "tests/TVVorlane/SessionManagerTrial.h"

namespace {

constexpr const char* kDepthVariable = "VORLANE_SEQUENCE_DEPTH";
constexpr int kDefaultDepth = 5;

/// Runs every sequence up to a depth. Compares each step with the model, and checks that everything
/// can finish after the last step. If two sequences end in the same state, their continuations run
/// once.
class Explorer {
 public:
  explicit Explorer(int depth) : _depth(depth) {}

  void explore() {
    Ways ways{{_reach(""), 1}};
    for (int level = 1; level < _depth; ++level) {
      // Sequences that begin in the foreground have two steps less; reaching it takes five steps.
      if (level == 3) {
        for (const char* shown : {"VVtrt", "NPtrt"}) ++ways[_reach(shown)];
      }
      Ways next;
      for (const auto& [number, count] : ways) {
        State& state = _states[number];
        if (state.next.empty()) {
          for (const auto& sequence : _continuations(state)) state.next.push_back(_reach(sequence));
        }
        _sequences += count * state.next.size();
        for (const auto other : state.next) next[other] += count;
      }
      ways = std::move(next);
    }
    _exploreLast(ways);
  }

  std::uint64_t sequences() const { return _sequences; }
  std::size_t runs() const { return _runs; }
  std::size_t states() const { return _states.size(); }

 private:
  struct State {
    std::string sequence;
    SessionManagerModel model;
    /// Successor states by step. Empty until computed.
    std::vector<std::size_t> next = {};
  };
  /// The number of sequences that lead to each state.
  using Ways = std::map<std::size_t, std::uint64_t>;

  static constexpr int kMostFailures = 10;

  /// Steps without effect are skipped, because they lead to the same state.
  static std::vector<std::string> _continuations(const State& state) {
    std::vector<std::string> sequences;
    for (const char step : kSteps) {
      if (isPossible(step, state.model)) sequences.push_back(state.sequence + step);
    }
    return sequences;
  }

  std::size_t _reach(const std::string& sequence) {
    ++_runs;
    _run(sequence);
    SessionManagerModel model = _trial->model();
    const auto [entry, isNew] =
        _known.try_emplace(model.future() + _trial->future(), _states.size());
    if (isNew) _states.push_back({sequence, std::move(model)});
    _settle(sequence, false);
    return entry->second;
  }

  void _exploreLast(const Ways& ways) {
    for (const auto& [number, count] : ways) {
      const auto sequences = _continuations(_states[number]);
      _sequences += count * sequences.size();
      if (!_states[number].next.empty()) continue;
      _runs += sequences.size();
      for (const auto& sequence : sequences) {
        _run(sequence);
        _settle(sequence, true);
      }
    }
  }

  void _run(const std::string& sequence) {
    if (!_trial) _trial = std::make_unique<Trial>();
    for (const char step : sequence) _trial->take(step);
    const std::string difference = _trial->difference();
    EXPECT_EQ(difference, "") << "differs from the model after " << sequence;
  }
  void _settle(const std::string& sequence, bool inAHurry) {
    const std::string fault = _trial->settle(inAHurry);
    EXPECT_EQ(fault, "") << "at the end of " << sequence;
    // After a failure the next sequence starts with a new box. Stops after a few failures.
    if (!testing::Test::HasFailure()) return _trial->begin();
    _trial = nullptr;
    if (++_failures > kMostFailures) throw std::runtime_error("too many failures");
  }

  int _depth;
  std::uint64_t _sequences = 0;
  std::size_t _runs = 0;
  std::deque<State> _states;
  std::unordered_map<std::string, std::size_t> _known;
  std::unique_ptr<Trial> _trial;
  int _failures = 0;
};

TEST(SessionManagerSequencesTest, ShortSequencesMatchTheModelAndSettle) {
  const char* wanted = std::getenv(kDepthVariable);
  const int depth = wanted ? std::max(1, std::atoi(wanted)) : kDefaultDepth;
  Explorer explorer(depth);
  explorer.explore();
  std::printf("%llu sequences to depth %d (%s), %zu of them run, %zu states on the way\n",
              static_cast<unsigned long long>(explorer.sequences()), depth, kDepthVariable,
              explorer.runs(), explorer.states());
  EXPECT_GT(explorer.runs(), static_cast<std::size_t>(depth));
}

/// Selected sequences beyond the depth of the exhaustive run.
TEST(SessionManagerSequencesTest, SelectedLongSequencesMatchTheModel) {
  constexpr std::string_view kSequences[] = {
      "VVtrth5t",    "VVtrthPtt55",  "VtrtxVtt5t",   "NVtftt5rt",   "VPtrtuut5",  "Vt5Vtrt5",
      "DDtrtutut5t", "VAtrtxthVtt5", "NtftNtrthtrt", "Vthtt5VVtrt", "PVNDtrthtt", "Vtrthxlt",
      "Ptrtu5Ptrt",  "VtrVhtt5rtt",  "Vtrtlxt5t",    "VtrtxtVtut5", "VthVttrt5t", "VVtftftt",
  };
  for (const auto sequence : kSequences) {
    Trial trial;
    for (std::size_t i = 0; i < sequence.size(); ++i) {
      if (isPossible(sequence[i], trial.model())) trial.take(sequence[i]);
      EXPECT_EQ(trial.difference(), "") << "after " << sequence.substr(0, i + 1);
    }
    EXPECT_EQ(trial.settle(false), "") << sequence;
  }
}

}  // namespace
