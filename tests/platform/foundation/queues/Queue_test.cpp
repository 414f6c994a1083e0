#include "platform/foundation/queues/Queue.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "sim/VirtualClock.h"
#include "tests/platform/foundation/Support.h"

namespace platform {
namespace {

using namespace std::chrono_literals;
using State = SerialQueue::State;

class CountingWaiter final : public Waiter {
 public:
  explicit CountingWaiter(const Clock& clock) : _waiter(clock, false) {}
  void wait(std::optional<TimePoint> deadline) override {
    deadlines.push_back(deadline);
    _waiter.wait(deadline);
  }
  void wake() override {
    ++wakes;
    _waiter.wake();
  }
  std::vector<std::optional<TimePoint>> deadlines;
  std::atomic<int> wakes = 0;

 private:
  ConditionWaiter _waiter;
};

struct QueueTest : testing::Test {
  sim::VirtualClock clock;
  std::shared_ptr<CountingWaiter> waiter = std::make_shared<CountingWaiter>(clock);
  MainQueue main{clock, waiter};
  std::string trace;

  std::function<void()> note(char c) {
    return [this, c] { trace += c; };
  }
  /// Runs the main queue until `queue` is idle or blocked by something else.
  State pump(SerialQueue& queue) {
    for (;;) {
      const State state = queue.state();
      if (main.runDue()) continue;
      if (state != State::Running) return state;
      main.waitForWork();
    }
  }
};

TEST_F(QueueTest, RunsTasksAndTimersInOrder) {
  main.after(2s, note('d')).detach();
  main.after(1s, note('b')).detach();
  main.after(1s, note('c')).detach();
  main.after(0s,
             [this] {
               trace += 'A';
               main.after(0s, note('x')).detach();
               main.async(note('y'));
             })
      .detach();
  main.async([this] {
    trace += '1';
    main.async(note('3'));
  });
  main.async(note('2'));
  EXPECT_TRUE(main.runDue());
  EXPECT_EQ(trace, "12A3yx");
  EXPECT_FALSE(main.runDue());
  EXPECT_EQ(main.nextDeadline(), clock.now() + 1s);
  clock.advance(999ms);
  EXPECT_FALSE(main.runDue());
  clock.advance(1ms);
  main.runDue();
  EXPECT_EQ(trace, "12A3yxbc");
  clock.advance(1h);
  main.runDue();
  EXPECT_EQ(trace, "12A3yxbcd");
  EXPECT_EQ(main.nextDeadline(), std::nullopt);
  main.after(Duration::max(), note('!')).detach();
  clock.advance(24h);
  EXPECT_FALSE(main.runDue());
}

TEST_F(QueueTest, TokensCancelTimers) {
  Token dropped = main.after(1s, note('x'));
  Token own;
  own = main.after(1s, [&] {
    trace += 'a';
    own.reset();
  });
  Token later = main.after(3s, note('y'));
  Token earlier = main.after(2s, [&] { later.reset(); });
  Token sameTurn;
  main.after(0s, [&] { sameTurn.reset(); }).detach();
  sameTurn = main.after(0s, note('z'));
  dropped.reset();
  clock.advance(5s);
  main.runDue();
  EXPECT_EQ(trace, "a");

  Token survivor;
  {
    MainQueue other(clock, waiter);
    survivor = other.after(1s, note('q'));
  }
  survivor.reset();
}

TEST_F(QueueTest, DestroysEachTaskRightAfterItHasRun) {
  auto first = std::make_shared<int>();
  auto timer = std::make_shared<int>();
  main.after(0s, [timer] {}).detach();
  main.async([first] {});
  main.async(
      [&] { trace += std::to_string(first.use_count()) + std::to_string(timer.use_count()); });
  main.after(0s, [&] { trace += std::to_string(timer.use_count()); }).detach();
  main.runDue();
  EXPECT_EQ(trace, "121");
}

TEST_F(QueueTest, AThrowingTaskLeavesTheOthersQueued) {
  main.async([] { throw std::runtime_error("x"); });
  main.async(note('a'));
  EXPECT_THROW(main.runDue(), std::runtime_error);
  main.runDue();
  EXPECT_EQ(trace, "a");
}

TEST_F(QueueTest, PostsDoNotWakeARunningMainThread) {
  EXPECT_FALSE(main.isCurrent());
  main.bindToCurrentThread();
  EXPECT_TRUE(main.isCurrent());
  main.async(note('a'));
  main.after(1s, note('b')).detach();
  std::thread([this] {
    EXPECT_FALSE(main.isCurrent());
    main.async(note('c'));
  }).join();
  EXPECT_EQ(waiter->wakes, 0);
  main.runDue();
  main.wake();
  main.waitForWork();
  main.wake();
  main.waitForWork(clock.now() + 500ms);
  EXPECT_EQ(waiter->deadlines,
            (std::vector<std::optional<TimePoint>>{clock.now() + 1s, clock.now() + 500ms}));
}

TEST_F(QueueTest, RunServesOtherThreadsUntilStopped) {
  main.bindToCurrentThread();
  std::thread thread([this] {
    EXPECT_TRUE(main.sync(note('a')));
    EXPECT_THROW(main.sync([] { throw std::runtime_error("x"); }), std::runtime_error);
    clock.advance(1s);
    main.after(0s, note('b')).detach();
    main.sync([] {});
    main.async(note('c'));
    main.stop();
    EXPECT_FALSE(main.sync(note('!')));
  });
  main.run();
  thread.join();
  EXPECT_EQ(trace, "abc");
}

TEST_F(QueueTest, StopReleasesBlockedCalls) {
  main.bindToCurrentThread();
  SerialQueue queue("q");
  queue.setStateObserver([this] { main.wake(); });
  std::optional<bool> result;
  queue.async([&] { result = main.sync(note('!')); });
  while (queue.state() != State::Blocked) main.waitForWork();
  main.async(note('a'));
  main.stop();
  queue.sync([] {});
  EXPECT_EQ(result, false);
  main.run();  // runs the task that was posted before stop(), then returns
  EXPECT_EQ(trace, "a");
}

TEST_F(QueueTest, DiscardDestroysRemainingTasksAndThoseTheyPost) {
  const auto held = std::make_shared<int>();
  bool ran = false;
  // Each task posts another when it is destroyed.
  const auto chain = [&](int length, const auto& self) -> std::shared_ptr<int> {
    return {new int, [&, length, held](const int* number) {
              delete number;
              if (length == 0) return;
              main.async([&ran, next = self(length - 1, self)] { ran = true; });
            }};
  };
  main.async([&ran, first = chain(3, chain)] { ran = true; });
  main.after(1s, [&ran, first = chain(3, chain)] { ran = true; }).detach();
  ASSERT_GT(held.use_count(), 1);
  main.discard();
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_FALSE(main.nextDeadline());
  EXPECT_FALSE(main.runDue());
  EXPECT_FALSE(ran);
}

TEST_F(QueueTest, AssertsTheThreadOfEachCall) {
  const sim::AssertionsThrow assertions;
  main.bindToCurrentThread();
  EXPECT_THROW(main.sync([] {}), sim::AssertionError);
  std::thread([this] { EXPECT_THROW(main.runDue(), sim::AssertionError); }).join();
  SerialQueue queue("q");
  queue.sync([&] {
    EXPECT_TRUE(queue.isCurrent());
    EXPECT_EQ(SerialQueue::current(), &queue);
    EXPECT_THROW(queue.sync([] {}), sim::AssertionError);
  });
  EXPECT_FALSE(queue.isCurrent());
  EXPECT_EQ(SerialQueue::current(), nullptr);
  EXPECT_THROW(WaitGroup().leave(), sim::AssertionError);
}

TEST_F(QueueTest, SerialQueueRunsInOrderAndItsDestructorRunsTheRest) {
  {
    SerialQueue queue("q");
    EXPECT_EQ(queue.label(), "q");
    for (const char c : std::string("abc")) queue.async(note(c));
    queue.async([&] { queue.async(note('d')); });
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("x"); }), std::runtime_error);
  }
  EXPECT_EQ(trace, "abcd");
}

// A wrong state would end pump() before all steps have run.
TEST_F(QueueTest, SerialQueueIsBlockedOnlyByWaitingTasks) {
  main.bindToCurrentThread();
  SerialQueue queue("q");
  queue.setStateObserver([this] { main.wake(); });
  EXPECT_EQ(pump(queue), State::Idle);
  WaitGroup group;
  for (int round = 0; round < 200; ++round) {
    trace.clear();
    group.enter();
    queue.async([&] {
      trace += 'a';
      main.sync(note('b'));
      main.sync([&] {
        trace += 'c';
        main.async(note('d'));
      });
      group.wait();
      trace += 'e';
      main.sync(note('f'));
    });
    ASSERT_EQ(pump(queue), State::Blocked);
    ASSERT_EQ(trace, "abcd");
    group.leave();
    ASSERT_NE(queue.state(), State::Idle);
    ASSERT_EQ(pump(queue), State::Idle);
    ASSERT_EQ(trace, "abcdef");
  }
  group.wait();  // returns at once
}

TEST_F(QueueTest, WaiterCanBeReplacedOnAnyThread) {
  const auto own = std::make_shared<CountingWaiter>(clock);
  SerialQueue queue("q");
  queue.setWaiter(own);
  queue.sync(note('a'));
  queue.setWaiter(nullptr);
  const auto waits = own->deadlines.size();
  queue.sync(note('b'));
  EXPECT_EQ(own->deadlines.size(), waits);
  EXPECT_EQ(own.use_count(), 1);
  queue.sync([&] { queue.setWaiter(own); });
  queue.setWaiter(own);
  queue.sync(note('c'));
  EXPECT_EQ(trace, "abc");
}

TEST(Waiter, ReturnsAtOnceWhenDueOrWoken) {
  const SystemClock clock;
  ConditionWaiter waiter(clock);
  waiter.wait(clock.now() - 1s);
  for (const auto& deadline : {std::optional(TimePoint::max()), std::optional<TimePoint>()}) {
    waiter.wake();
    waiter.wait(deadline);
  }
  EXPECT_EQ(durationFromSeconds(1e30), Duration::max());
  EXPECT_EQ(durationFromSeconds(-1e30), Duration::min());
  EXPECT_EQ(durationFromSeconds(std::nan("")), Duration::zero());
}

}  // namespace
}  // namespace platform
