// Runs all short sequences of operations and compares the player with a simple model. In virtual
// time, because there are thousands of sequences and the times are exact.

#include <cstdint>
#include <deque>

#include <gtest/gtest.h>

#include "sim/Box.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/player/PlayerEvents.h"

namespace {

// Exact in binary floating point, so that the model does not round.
constexpr double kLoadDelay = 0.125;
constexpr double kDuration = 3;
constexpr double kSeekTarget = 2;
constexpr double kSecondsPerStep = 1;

enum class Operation { Play, Pause, Stop, Seek, SetRate, Append, RemoveCurrent, Advance };
constexpr std::string_view kNames[] = {"play",    "pause",  "stop",   "seek",
                                       "setRate", "append", "remove", "advance"};
constexpr std::size_t kOperationCount = std::size(kNames);

/// The model: a windowed playlist of equal items and end action "Advance".
struct Model {
  enum class Phase { Stopped, Loading, Running } phase = Phase::Loading;
  bool wantsToPlay = true;
  double rate = 1;
  double position = 0;  // or the start point of the next load
  double loadLeft = kLoadDelay;
  int itemsLeft = 2;
  int currentItem = 0;
  bool currentIsFinished = false;
  bool preparesNext = false;
  double nextLoadLeft = 0;

  void load(double from) {
    loadLeft = std::exchange(preparesNext, false) ? nextLoadLeft : kLoadDelay;
    phase = loadLeft > 0 ? Phase::Loading : Phase::Running;
    position = from;
    currentIsFinished = false;
  }
  /// The items are so short that the end is always near.
  void prepare() {
    if (phase == Phase::Running && wantsToPlay && itemsLeft > 1 && !preparesNext) {
      preparesNext = true;
      nextLoadLeft = kLoadDelay;
    }
  }
  void pass(double seconds) {
    if (preparesNext) nextLoadLeft = std::max(0.0, nextLoadLeft - seconds);
  }
  void stop() {
    phase = Phase::Stopped;
    preparesNext = false;
    wantsToPlay = true;
    position = 0;
  }
  void leave(bool remove) {
    if (itemsLeft > 1) {
      --itemsLeft;
      ++currentItem;
      load(0);
    } else {
      if (remove) itemsLeft = 0;
      currentIsFinished = !remove;
      stop();
    }
  }
  void advance(double seconds) {
    while (seconds > 0 && phase != Phase::Stopped) {
      prepare();
      if (phase == Phase::Loading) {
        const double step = std::min(seconds, loadLeft);
        seconds -= step;
        loadLeft -= step;
        if (loadLeft == 0) phase = Phase::Running;
      } else if (!wantsToPlay) {
        return pass(seconds);
      } else {
        const double step = std::min(seconds, (kDuration - position) / rate);
        seconds -= step;
        pass(step);
        position += step * rate;
        if (position == kDuration) leave(false);
      }
    }
  }
  void apply(Operation operation) {
    switch (operation) {
      case Operation::Play:
        if (phase != Phase::Stopped) {
          wantsToPlay = true;
        } else if (itemsLeft > 0) {
          wantsToPlay = true;
          if (currentIsFinished && itemsLeft > 1) {
            --itemsLeft;
            ++currentItem;
          }
          load(position);
        }
        return;
      case Operation::Pause:
        wantsToPlay = false;
        return;
      case Operation::Stop:
        if (phase != Phase::Stopped) stop();
        return;
      case Operation::Seek:
        position = kSeekTarget;
        return;
      case Operation::SetRate:
        rate = 2;
        return;
      case Operation::Append:
        if (itemsLeft++ == 0) ++currentItem;
        return;
      case Operation::RemoveCurrent:
        if (itemsLeft == 0) return;
        if (phase != Phase::Stopped) {
          leave(true);
          return;
        }
        if (--itemsLeft > 0) ++currentItem;
        currentIsFinished = false;
        return;
      case Operation::Advance:
        advance(kSecondsPerStep);
        return;
    }
  }
  std::string state() const {
    if (phase == Phase::Stopped) return "stopped";
    if (phase == Phase::Loading) return "loading";
    return wantsToPlay ? "playing" : "paused";
  }
};

std::string nameOf(std::uint64_t sequence, std::size_t depth) {
  std::string name;
  for (std::size_t step = 0; step < depth; ++step, sequence /= kOperationCount) {
    name += std::string(name.empty() ? "" : ", ") + std::string(kNames[sequence % kOperationCount]);
  }
  return name;
}

class SequenceRun {
 public:
  SequenceRun(sim::Box& box, const std::vector<std::string>& urls, TVSMediaItemEndAction endAction)
      : _box(box) {
    _playlist = playlistOf(urls);
    player->setMediaItemEndAction(endAction);
    player->setPlaylist(_playlist);
    _box.run();
  }
  ~SequenceRun() { player->invalidate(); }

  void apply(Operation operation) {
    const std::function<void()> operations[] = {
        [&] { player->play(); },
        [&] { player->pause(); },
        [&] { player->stop(); },
        [&] { player->setElapsedTime(kSeekTarget); },
        [&] { player->setRateUsedForPlayback(2); },
        [&] { _playlist->appendMediaItem(mediaItem(std::to_string(_nextItem++))); },
        [&] {
          if (const auto at = _playlist->currentIndex()) _playlist->removeMediaItemAtIndex(*at);
        },
        [&] { _box.advance(platform::durationFromSeconds(kSecondsPerStep)); },
    };
    static_assert(std::size(operations) == kOperationCount);
    operations[static_cast<std::size_t>(operation)]();
    _box.run();
  }

  /// Checks the invariants that hold when no task is due. Empty if all are fulfilled.
  std::string fault() const {
    const auto& engine = *_box.mediaLibrary().engines().back();
    const auto state = player->state();
    std::string lastState;
    for (const auto& event : events.all()) {
      const bool isState =
          event == "loading" || event == "playing" || event == "paused" || event == "stopped";
      if (isState && event == lastState) return "announced twice: " + event;
      if (isState) lastState = event;
    }
    if (lastState != stateName(state))
      return "announced " + lastState + " last, is " + std::string(stateName(state));
    if ((player->rate() != 0) != (state == TVSPlaybackState::Playing))
      return "rate and state do not match";
    if (engine.isRunning() != (state == TVSPlaybackState::Playing))
      return "isRunning() of the engine does not match the state";
    if (engine.isLoaded() != (state != TVSPlaybackState::Stopped))
      return "isLoaded() of the engine does not match the state";
    if (engine.isRunning() && engine.currentLoad().item != _playlist->currentItem())
      return "the engine plays another item";
    if (player->currentMediaItem() != _playlist->currentItem())
      return "player and playlist have different current items";
    return {};
  }

  /// Checks that a stopped player has no timers.
  std::string faultAfterStop() {
    player->stop();
    _box.run();
    if (auto found = fault(); !found.empty()) return found;
    return _box.mainQueue().nextDeadline() ? "a timer is left" : "";
  }

  const std::shared_ptr<TVSPlayer> player = std::make_shared<TVSPlayer>("sequence");
  PlayerEvents events{*player};

 private:
  sim::Box& _box;
  std::shared_ptr<TVSPlaylist> _playlist;
  platform::Token _elapsed = player->addElapsedTimeObserver([](auto...) {});
  int _nextItem = 2;
};

void forEachSequence(std::size_t depth, const std::function<std::string(std::uint64_t)>& run) {
  std::uint64_t count = 1;
  for (std::size_t step = 0; step < depth; ++step) count *= kOperationCount;
  int faults = 0;
  for (std::uint64_t sequence = 0; sequence < count && faults < 10; ++sequence) {
    const auto fault = run(sequence);
    if (fault.empty()) continue;
    ++faults;
    ADD_FAILURE() << fault << "\n  after: " << nameOf(sequence, depth);
  }
}

/// The parameter is the first operation, so that no single test takes long.
class PlayerSequence : public testing::TestWithParam<Operation> {};

TEST_P(PlayerSequence, AgreesWithTheModel) {
  sim::Box box{{.logLevel = 0}};
  for (int index = 0; index < 20; ++index) {
    box.mediaLibrary().add(std::to_string(index), {.loadDelay = kLoadDelay, .duration = kDuration});
  }
  constexpr std::size_t kDepth = 5;
  forEachSequence(kDepth - 1, [&](std::uint64_t later) -> std::string {
    auto sequence = later * kOperationCount + static_cast<std::uint64_t>(GetParam());
    SequenceRun run(box, {"0", "1"}, TVSMediaItemEndAction::Advance);
    Model model;
    for (std::size_t step = 0; step < kDepth; ++step, sequence /= kOperationCount) {
      const auto operation = static_cast<Operation>(sequence % kOperationCount);
      run.apply(operation);
      model.apply(operation);
      model.prepare();
      const auto where = " at step " + std::to_string(step + 1);
      if (auto fault = run.fault(); !fault.empty()) return fault + where;
      const std::string state(stateName(run.player->state()));
      if (state != model.state()) return "is " + state + ", the model " + model.state() + where;
      const auto item = run.player->currentMediaItem();
      if (item ? item->url() != std::to_string(model.currentItem) : model.itemsLeft > 0) {
        return "is at another item than " + std::to_string(model.currentItem) + where;
      }
      if (run.player->elapsedTime() != model.position) {
        return "is at " + std::to_string(run.player->elapsedTime()) + ", the model at " +
               std::to_string(model.position) + where;
      }
    }
    return run.faultAfterStop();
  });
}

INSTANTIATE_TEST_SUITE_P(FirstOperation, PlayerSequence,
                         testing::Values(Operation::Play, Operation::Pause, Operation::Stop,
                                         Operation::Seek, Operation::SetRate, Operation::Append,
                                         Operation::RemoveCurrent, Operation::Advance),
                         [](const auto& test) {
                           return std::string(kNames[static_cast<std::size_t>(test.param)]);
                         });

/// Media that stall and fail. The model does not cover them; only the invariants are checked.
class PlayerSequenceOverBadMedia : public testing::TestWithParam<TVSMediaItemEndAction> {};

TEST_P(PlayerSequenceOverBadMedia, StaysConsistent) {
  sim::Box box{{.logLevel = 0}};
  const auto error = platform::Error::status(7);
  for (int index = 0; index < 20; ++index) {
    sim::MediaScript script{.loadDelay = kLoadDelay, .duration = kDuration};
    if (index % 2 == 0)
      script.stalls = {{.position = 0.5, .length = 0.75}, {.position = 2.5, .length = 2}};
    if (index == 1) script.failure = {.position = 0.5, .error = error};
    if (index == 3) script.loadFailure = error;
    script.seekDelay = index % 3 == 0 ? 0.25 : 0;
    box.mediaLibrary().add(std::to_string(index), script);
  }
  constexpr std::size_t kDepth = 4;
  forEachSequence(kDepth, [&](std::uint64_t sequence) -> std::string {
    SequenceRun run(box, {"0", "1"}, GetParam());
    for (std::size_t step = 0; step < kDepth; ++step, sequence /= kOperationCount) {
      run.apply(static_cast<Operation>(sequence % kOperationCount));
      // The engine does not run during a seek although the state is Playing.
      if (box.mediaLibrary().engines().back()->isSeeking())
        box.advance(platform::durationFromSeconds(0.25));
      if (auto fault = run.fault(); !fault.empty())
        return fault + " at step " + std::to_string(step + 1);
    }
    return run.faultAfterStop();
  });
}

INSTANTIATE_TEST_SUITE_P(EndActions, PlayerSequenceOverBadMedia,
                         testing::Values(TVSMediaItemEndAction::Advance,
                                         TVSMediaItemEndAction::Pause));

}  // namespace
