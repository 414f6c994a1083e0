// Measures the media engine without application, screen and D-Bus.
//
// usage: vorlane-engine-bench [--inside] start|starts|seek|far|sound|play|death URL COUNT [REST]
//
// The engine plays in a media process, as in the product. With --inside it plays in this process.
//
//   start   from load to the first frame
//   starts  the same; failed starts are counted, and their errors are written to stderr
//   seek    from a seek while paused to its frame, within the first 18 s. REST is the pause before
//           each seek in milliseconds
//   far     the same within ten minutes, each to a position that is not loaded
//   sound   from the selection of the other audio track to the next frame
//   play    plays for COUNT seconds. Prints `pictures=COUNT cpu=MS`: the number of frames, and the
//           CPU time per frame of both processes
//   death   from SIGKILL of the media process during playback to the first frame of the next
//   process.
//           Each with a new item, because an item fails if two processes die within 30 s
// The others print `first=MS median=MS worst=MS failures=COUNT`.

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "box/engine/MediaProcesses.h"
#include "box/engine/RemoteEngine.h"
#include "media/engine/MediaEngine.h"
#include "media/engine/WarmUp.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/foundation/queues/WorkerThreads.h"
#include "platform/media/TVSMediaItem.h"

namespace {

constexpr auto kLimit = std::chrono::seconds(20);
/// In seconds. The first frame of an HLS segment may be two frames later than its playlist claims.
constexpr double kSeekTolerance = 0.07;

double secondsOn(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// The CPU time of all threads of a process.
double processorSeconds(pid_t process) {
  clockid_t clock{};
  return clock_getcpuclockid(process, &clock) == 0 ? secondsOn(clock) : 0;
}

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "vorlane-engine-bench: %s\n", what.c_str());
  std::exit(1);
}

class Bench final : private platform::MediaEngineObserver {
 public:
  Bench(std::string url, bool inside)
      : _url(std::move(url)), _queue(_clock, std::make_shared<platform::ConditionWaiter>(_clock)) {
    _queue.bindToCurrentThread();
    if (inside) {
      media::warmUpMedia();
      _engine = std::make_unique<media::MediaEngine>(_queue, _clock, media::MediaEngineOptions{});
    } else {
      _processes.emplace(_queue, box::MediaProcesses::Setup{});
      awaitSpare();
      auto engine = std::make_unique<box::RemoteEngine>(_queue, _clock, *_processes);
      _remote = engine.get();
      _engine = std::move(engine);
    }
    _frames = std::static_pointer_cast<media::VideoFrames>(_engine->videoOutput());
    _frames->setWakeup([this] { _queue.wake(); });
    _engine->setObserver(this);
  }
  ~Bench() override {
    _frames->setWakeup(nullptr);
    _engine.reset();
    platform::WorkerThreads::waitForAll(kLimit);
  }

  double start() {
    const double taken = timed([this] { load(true); }, [this] { return _plays; });
    unload();
    return taken;
  }
  std::optional<double> tryToStart() {
    std::string reason;
    const double taken = timed([this] { load(true); }, [this] { return _plays; }, &reason);
    unload();
    if (reason.empty()) return taken;
    std::fprintf(stderr, "vorlane-engine-bench: %s\n", reason.c_str());
    return std::nullopt;
  }

  void openPaused() {
    timed([this] { load(false); }, [this] { return _ready && _frames->latest(); });
  }
  void rest(std::chrono::milliseconds time) {
    const auto until = _clock.now() + time;
    while (_clock.now() < until)
      if (!_queue.runDue()) _queue.waitForWork(until);
  }
  double seek(double seconds) {
    _sought = false;
    const auto before = _frames->latest();
    const double taken = timed([&] { _engine->seek(seconds); },
                               [&] { return _sought && _frames->latest() != before; });
    const double shown = _frames->latest()->time;
    if (std::abs(shown - seconds) > kSeekTolerance)
      fail("shows " + std::to_string(shown) + " instead of " + std::to_string(seconds));
    return taken;
  }

  void openPlaying() {
    timed([this] { load(true); }, [this] { return _plays; });
  }
  void play(int seconds) {
    openPlaying();
    const std::uint64_t pictures = _frames->serial();
    const double before = usedSeconds();
    rest(std::chrono::seconds(seconds));
    const auto shown = static_cast<double>(_frames->serial() - pictures);
    std::printf("pictures=%.0f cpu=%.3f\n", shown, 1e3 * (usedSeconds() - before) / shown);
  }
  double die() {
    if (!_remote) fail("death and --inside exclude each other");
    awaitSpare();
    openPlaying();
    rest(std::chrono::milliseconds(500));
    const pid_t killed = _remote->processID();
    std::shared_ptr<const media::VideoFrame> last;
    const double taken = timed([&] { kill(killed, SIGKILL); },
                               [&] {
                                 // Frames that were sent before the death may still arrive.
                                 const auto shown = _frames->latest();
                                 if (_remote->processID() == killed) last = shown;
                                 return _remote->processID() != killed && shown != last;
                               });
    unload();
    return taken;
  }
  double changeSound() {
    const auto& groups = _engine->facts().selectionGroups;
    const auto audible = std::find_if(groups.begin(), groups.end(), [](const auto& group) {
      return group.characteristic == platform::kMediaCharacteristicAudible;
    });
    if (audible == groups.end() || audible->options.size() < 2)
      fail("the item has only one audio track");
    const std::size_t other = audible->selected.value_or(0) == 0 ? 1 : 0;
    const std::string identifier = audible->options[other].identifier;
    _selected = false;
    std::shared_ptr<const media::VideoFrame> before;
    return timed(
        [&] {
          _engine->selectOption(std::string(platform::kMediaCharacteristicAudible), identifier);
        },
        [&] {
          if (!_selected) return false;
          if (!before) before = _frames->latest();
          return _frames->latest() != before;
        });
  }

 private:
  void unload() {
    _engine->unload();
    // Waits for the end of the old pipeline, which is not part of the next start.
    platform::WorkerThreads::waitForAll(kLimit);
    if (_remote) rest(std::chrono::milliseconds(50));
  }
  /// Waits for a spare process. Not measured.
  void awaitSpare() {
    _processes->warmUp();
    const auto limit = _clock.now() + kLimit;
    while (!_processes->hasSpare() && _clock.now() < limit)
      if (!_queue.runDue()) _queue.waitForWork(limit);
  }
  double usedSeconds() const {
    const double own = secondsOn(CLOCK_PROCESS_CPUTIME_ID);
    return _remote ? own + processorSeconds(_remote->processID()) : own;
  }
  void load(bool playing) {
    _plays = _ready = false;
    _error.clear();
    platform::MediaLoad load;
    load.generation = ++_generation;
    load.item = std::make_shared<TVSURLMediaItem>(_url, std::vector<std::string>{});
    load.playing = playing;
    _engine->load(load);
  }

  /// Returns milliseconds. A failure sets `reason`, or ends this process if `reason` is null.
  double timed(const std::function<void()>& begin, const std::function<bool()>& condition,
               std::string* reason = nullptr) {
    const auto began = _clock.now();
    begin();
    while (!condition()) {
      if (_error.empty() && _clock.now() - began > kLimit) _error = "timeout";
      if (!_error.empty()) {
        if (!reason) fail(_error);
        *reason = _error;
        break;
      }
      if (!_queue.runDue()) _queue.waitForWork(began + kLimit);
    }
    return platform::secondsFromDuration(_clock.now() - began) * 1e3;
  }

  void engineDidBecomeReady(std::uint64_t) override { _ready = true; }
  void engineDidPlay(std::uint64_t, double) override { _plays = true; }
  void engineDidPause(std::uint64_t) override {}
  void engineDidStall(std::uint64_t) override {}
  void engineDidSeek(std::uint64_t) override { _sought = true; }
  void engineDidReachEnd(std::uint64_t) override {}
  void engineDidFail(std::uint64_t, const platform::Error& error) override {
    _error = error.description();
  }
  void engineFactsDidChange(std::uint64_t) override {}
  void engineSelectionDidChange(std::uint64_t, const std::string&) override { _selected = true; }

  const std::string _url;
  platform::SystemClock _clock;
  platform::MainQueue _queue;
  std::optional<box::MediaProcesses> _processes;
  std::unique_ptr<platform::MediaEngine> _engine;
  box::RemoteEngine* _remote = nullptr;  // null with --inside
  std::shared_ptr<media::VideoFrames> _frames;
  std::uint64_t _generation = 0;
  bool _ready = false;
  bool _plays = false;
  bool _sought = false;
  bool _selected = false;
  std::string _error;
};

}  // namespace

int main(int count, char** arguments) {
  const bool inside = count > 1 && std::string(arguments[1]) == "--inside";
  if (inside) {
    --count;
    ++arguments;
  }
  if (count < 4 || count > 5)
    fail(
        "usage: vorlane-engine-bench [--inside] start|starts|seek|far|sound|play|death URL COUNT "
        "[REST]");
  const std::string what = arguments[1];
  const int times = std::max(1, std::atoi(arguments[3]));
  const std::chrono::milliseconds rest(count > 4 ? std::atoi(arguments[4]) : 0);
  Bench bench(arguments[2], inside);
  if (what == "play") {
    bench.play(times);
    return 0;
  }
  std::vector<double> taken;
  int failures = 0;
  const bool seeks = what == "seek" || what == "far";
  if (seeks) bench.openPaused();
  if (what == "sound") bench.openPlaying();
  for (int turn = 0; turn < times; ++turn) {
    if (seeks) bench.rest(rest);
    if (what == "start")
      taken.push_back(bench.start());
    else if (what == "starts") {
      if (const auto one = bench.tryToStart())
        taken.push_back(*one);
      else
        ++failures;
    } else if (what == "seek")
      // The positions cover all distances from a keyframe.
      taken.push_back(bench.seek(1.0 + (turn * 73 % 170) / 10.0));
    else if (what == "far")
      taken.push_back(bench.seek(45.0 + turn * 11 % 27 * 20 + (turn * 7 % 20) / 10.0));
    else if (what == "sound")
      taken.push_back(bench.changeSound());
    else if (what == "death")
      taken.push_back(bench.die());
    else
      fail("unknown measurement " + what);
  }
  const double first = taken.empty() ? NAN : taken.front();
  std::sort(taken.begin(), taken.end());
  std::printf("first=%.1f median=%.1f worst=%.1f failures=%d\n", first,
              taken.empty() ? NAN : taken[taken.size() / 2], taken.empty() ? NAN : taken.back(),
              failures);
  return 0;
}
