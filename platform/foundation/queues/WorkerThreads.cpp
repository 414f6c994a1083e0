#include "platform/foundation/queues/WorkerThreads.h"

#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/foundation/queues/Thread.h"

namespace platform {
namespace {

struct Worker {
  std::thread thread;
  bool ended = false;
};

struct Registry {
  std::mutex mutex;
  std::condition_variable changed;
  std::list<Worker> workers;

  std::size_t busy() const {
    std::size_t count = 0;
    for (const Worker& worker : workers) count += worker.ended ? 0 : 1;
    return count;
  }
  /// Removes and returns the workers that have ended. The caller joins them after the unlock.
  std::list<Worker> takeEnded() {
    std::list<Worker> result;
    for (auto each = workers.begin(); each != workers.end();) {
      const auto next = std::next(each);
      if (each->ended) result.splice(result.end(), workers, each);
      each = next;
    }
    return result;
  }
};

/// Never destroyed, because threads may outlive main().
Registry& registry() {
  static auto* const instance = new Registry;
  return *instance;
}

void join(std::list<Worker> ended) {
  for (Worker& worker : ended) worker.thread.join();
}

}  // namespace

bool WorkerThreads::start(std::function<void()> body) {
  Registry& all = registry();
  std::list<Worker> ended;
  bool isStarted = false;
  {
    const std::lock_guard lock(all.mutex);
    ended = all.takeEnded();
    Worker& worker = all.workers.emplace_back();
    isStarted =
        platform::startThread(worker.thread, [&all, &worker, run = std::move(body)]() mutable {
          run();
          run = nullptr;
          const std::lock_guard ending(all.mutex);
          worker.ended = true;
          all.changed.notify_all();
        });
    if (!isStarted) all.workers.pop_back();
  }
  join(std::move(ended));
  return isStarted;
}

std::size_t WorkerThreads::running() {
  const std::lock_guard lock(registry().mutex);
  return registry().busy();
}

bool WorkerThreads::waitForAll(Duration limit) {
  Registry& all = registry();
  std::list<Worker> ended;
  bool complete = false;
  {
    std::unique_lock lock(all.mutex);
    complete = all.changed.wait_for(lock, limit, [&] { return all.busy() == 0; });
    ended = all.takeEnded();
  }
  join(std::move(ended));
  return complete;
}

}  // namespace platform
