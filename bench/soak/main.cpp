// Loads and unloads one item over and over, then seeks in it, and prints what the process holds in
// between: whatever grows from line to line is lost. Resident memory also holds what the allocator
// keeps for later, which differs with the load of the machine; what is in use does not.
//
// Usage: vorlane-soak URL [CYCLES [SEEKS]]

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <malloc.h>

#include "box/media/MediaEngine.h"
#include "box/media/WorkerThreads.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Queue.h"

namespace {

constexpr int kLines = 5;
constexpr int kSeeksAtOnce = 100;
/// As the program itself has them, see box/MemoryRelease.h.
constexpr int kMemoryPools = 2;

std::ptrdiff_t entries(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

long residentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word)
    if (word == "VmRSS:") break;
  long kilobytes = 0;
  status >> kilobytes;
  return kilobytes;
}

class Soak final : private platform::MediaEngineObserver {
 public:
  explicit Soak(std::string url) : _url(std::move(url)) {
    _queue.bindToCurrentThread();
    _engine->setObserver(this);
  }
  ~Soak() override {
    _engine.reset();
    box::WorkerThreads::waitForAll(std::chrono::seconds(10));
  }

  bool cycle() {
    load();
    if (!_until([&] { return _plays || _failed; }) || _failed) return false;
    _engine->unload();
    return box::WorkerThreads::waitForAll(std::chrono::seconds(10));
  }
  void load() {
    _plays = false;
    platform::MediaLoad load;
    load.generation = ++_generation;
    load.item = std::make_shared<TVSURLMediaItem>(_url, std::vector<std::string>{});
    _engine->load(load);
  }
  /// So many at once, of which the last one wins.
  bool seek(int count) {
    if (!_until([&] { return _plays || _failed; }) || _failed) return false;
    const int before = _seeks;
    double destination = 0;
    for (int index = 0; index < count; ++index) {
      destination = 0.1 + 0.01 * ((index * 37 + before * 11) % 200);
      _engine->seek(destination);
    }
    // The position is that of the newest one from now on; whatever answers it comes last.
    return _until([&] { return _seeks > before && _engine->position() >= destination - 0.1; });
  }
  int answers() const { return _seeks; }

 private:
  bool _until(const std::function<bool()>& isSo) {
    const auto limit = _clock.now() + std::chrono::seconds(30);
    bool so = isSo();
    while (!so && _clock.now() < limit) {
      if (!_queue.runDue()) _queue.waitForWork(limit);
      so = isSo();
    }
    return so;
  }
  void engineDidBecomeReady(std::uint64_t) override {}
  void engineDidPlay(std::uint64_t, double) override { _plays = true; }
  void engineDidPause(std::uint64_t) override {}
  void engineDidStall(std::uint64_t) override {}
  void engineDidSeek(std::uint64_t) override { ++_seeks; }
  void engineDidReachEnd(std::uint64_t) override {}
  void engineDidFail(std::uint64_t, const platform::Error& error) override {
    std::printf("failed: %s %lld\n", error.domain.c_str(), static_cast<long long>(error.code));
    _failed = true;
  }
  void engineFactsDidChange(std::uint64_t) override {}
  void engineSelectionDidChange(std::uint64_t, const std::string&) override {}

  const std::string _url;
  platform::SystemClock _clock;
  platform::MainQueue _queue{_clock, std::make_shared<platform::ConditionWaiter>(_clock)};
  std::unique_ptr<box::MediaEngine> _engine = std::make_unique<box::MediaEngine>(
      _queue, _clock, box::MediaEngineOptions{.allowFileURLs = true});
  std::uint64_t _generation = 0;
  bool _plays = false;
  bool _failed = false;
  int _seeks = 0;
};

void print(const char* what, int count) {
  std::printf("%6d %-7s %4td descriptors %4td threads %7ld kB, %6zu kB in use\n", count, what,
              entries("/proc/self/fd"), entries("/proc/self/task"), residentKilobytes(),
              mallinfo2().uordblks / 1024);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s URL [CYCLES [SEEKS]]\n", argv[0]);
    return 2;
  }
  mallopt(M_ARENA_MAX, kMemoryPools);
  const int cycles = argc > 2 ? std::atoi(argv[2]) : 1000;
  const int seeks = argc > 3 ? std::atoi(argv[3]) : 10000;
  Soak soak(argv[1]);
  for (int warm = 0; warm < 10; ++warm)
    if (!soak.cycle()) return 1;
  print("cycles", 10);
  for (int done = 0; done < cycles;) {
    const int end = done + cycles / kLines;
    for (; done < end; ++done)
      if (!soak.cycle()) return 1;
    print("cycles", done + 10);
  }
  soak.load();
  for (int done = 0; done < seeks;) {
    const int end = done + seeks / kLines;
    for (; done < end; done += kSeeksAtOnce)
      if (!soak.seek(kSeeksAtOnce)) return 1;
    print("seeks", done);
  }
  std::printf("%d seeks were answered by %d\n", seeks, soak.answers());
  return 0;
}
