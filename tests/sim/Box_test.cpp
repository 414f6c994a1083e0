#include "sim/Box.h"

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/foundation/Value.h"
#include "platform/foundation/log/TVSLogger.h"
#include "tests/sim/ReceiverStub.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class BoxTest : public testing::Test {
 protected:
  int startVideo() {
    return box.call([this] { return stub->vorlaneUIStartVideo({}, nullptr); });
  }
  auto beginStartVideo() {
    return box.beginCall([this] { return stub->vorlaneUIStartVideo({}, nullptr); });
  }
  void note(std::string text) { story.push_back(std::move(text)); }
  double seconds() { return platform::secondsFromDuration(box.clock().now().time_since_epoch()); }

  sim::Box box;
  std::shared_ptr<ReceiverStub> stub = ReceiverStub::make();
  std::vector<std::string> story;
};

TEST_F(BoxTest, RunsTimersInOrderAtTheirOwnTime) {
  std::vector<double> times;
  auto second = box.mainQueue().after(2s, [&] { times.push_back(seconds()); });
  platform::Token fromTimer;
  auto first = box.mainQueue().after(1s, [&] {
    times.push_back(seconds());
    fromTimer = box.mainQueue().after(500ms, [&] { times.push_back(seconds()); });
  });
  auto late = box.mainQueue().after(3s + 1ns, [&] { times.push_back(seconds()); });
  box.run();
  EXPECT_TRUE(times.empty());
  box.advance(3s);
  EXPECT_THAT(times, ElementsAre(1, 1.5, 2));
  EXPECT_EQ(seconds(), 3);
}

TEST_F(BoxTest, CallRunsOnTheReceiverQueueAndSyncsToTheMainThread) {
  bool onQueue = false;
  stub->setBody(
      [&](platform::WaitGroup&) { note(box.mainQueue().isCurrent() ? "main" : "other"); });
  EXPECT_EQ(box.call([&] {
    onQueue = stub->queue->isCurrent();
    return stub->vorlaneUIStartVideo({}, nullptr);
  }),
            0);
  EXPECT_TRUE(onQueue);
  EXPECT_THAT(story, ElementsAre("main"));
  EXPECT_EQ(seconds(), 0);
}

TEST_F(BoxTest, TimeAdvancesOnlyWhileACallWaits) {
  platform::Token answer;
  stub->setBody([&](platform::WaitGroup& group) {
    group.enter();
    answer = box.mainQueue().after(3s, [&] { group.leave(); });
  });
  const auto call = beginStartVideo();
  EXPECT_FALSE(call.done());
  EXPECT_EQ(seconds(), 0);
  box.advance(2s);
  EXPECT_FALSE(call.done());
  EXPECT_EQ(box.finish(call), 0);
  EXPECT_EQ(seconds(), 3);
}

TEST_F(BoxTest, CallWaitingForAPostedTaskNeedsNoTime) {
  stub->setBody([&](platform::WaitGroup& group) {
    group.enter();
    box.mainQueue().async([&] { box.mainQueue().async([&] { group.leave(); }); });
  });
  EXPECT_TRUE(beginStartVideo().done());
}

TEST_F(BoxTest, SecondCallWaitsForTheFirst) {
  platform::Token answer;
  stub->setBody([&](platform::WaitGroup& group) {
    note("body");
    if (story.size() > 1) return;
    group.enter();
    answer = box.mainQueue().after(1s, [&] { group.leave(); });
  });
  const auto first = beginStartVideo();
  const auto second = beginStartVideo();
  EXPECT_THAT(story, ElementsAre("body"));
  box.advance(1s);
  EXPECT_TRUE(first.done());
  EXPECT_TRUE(second.done());
  EXPECT_THAT(story, ElementsAre("body", "body"));
}

TEST_F(BoxTest, RunDeliversEventsInOrder) {
  for (int number = 0; number < 50; ++number) {
    stub->post("event" + std::to_string(number % 2), {{"number", number}});
  }
  box.run();
  const auto events = box.receiverServiceClient().events();
  ASSERT_EQ(events.size(), 50u);
  for (int number = 0; number < 50; ++number) {
    EXPECT_EQ(events[static_cast<std::size_t>(number)].info.get("number"), platform::Value(number));
  }
  EXPECT_EQ(box.receiverServiceClient().lastEvent("event0")->info.get("number"),
            platform::Value(48));
  EXPECT_FALSE(box.receiverServiceClient().lastEvent("other"));
}

template <typename Function>
std::string textOfError(const Function& function) {
  try {
    function();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "nothing was thrown";
}

class Launched final : public platform::ApplicationDelegate {
 public:
  explicit Launched(std::vector<std::string>& story, bool answer)
      : _story(story), _answer(answer) {}
  bool applicationDidFinishLaunching(const platform::Dictionary&) override {
    _story.emplace_back("launch");
    platform::Platform::current().mainQueue().async([this] { _story.emplace_back("turn"); });
    return _answer;
  }
  void applicationWillTerminate() override { _story.emplace_back("terminate"); }

 private:
  std::vector<std::string>& _story;
  const bool _answer;
};

TEST(BoxLaunch, RunsAnApplicationFromLaunchToEnd) {
  sim::Box box;
  std::vector<std::string> story;
  EXPECT_EQ(box.run({std::make_shared<Launched>(story, true), nullptr, nullptr}), 0);
  EXPECT_THAT(story, ElementsAre("launch", "turn", "terminate"));
  EXPECT_EQ(box.run({std::make_shared<Launched>(story, false), nullptr, nullptr}), 1);
}

struct Counted {
  Counted() {
    ++made;
    // Lets the other thread enter if nothing excludes it.
    for (int turn = 0; turn < 100; ++turn) std::this_thread::yield();
  }
  static inline std::atomic<int> made = 0;
};

TEST(BoxLife, SharedInstancesAreCreatedOnceWhenThreadsRace) {
  constexpr int kRounds = 20;
  Counted::made = 0;
  for (int round = 0; round < kRounds; ++round) {
    sim::Box box;
    std::latch together(2);
    std::shared_ptr<Counted> other;
    std::thread thread([&] {
      together.arrive_and_wait();
      other = box.sharedInstance<Counted>();
    });
    together.arrive_and_wait();
    const auto own = box.sharedInstance<Counted>();
    thread.join();
    ASSERT_EQ(own, other);
  }
  EXPECT_EQ(Counted::made, kRounds);
}

TEST(BoxLife, CanBeDestroyedWhileACallWaits) {
  for (const bool inGroup : {false, true}) {
    std::string ended = "not at all";
    std::shared_ptr<ReceiverStub> stub;  // in use until the box is destroyed
    {
      sim::Box box;
      stub = ReceiverStub::make();
      if (inGroup) {
        stub->setBody([](platform::WaitGroup& group) { group.enter(); });
        EXPECT_FALSE(box.beginCall([&] { return stub->vorlaneUIStartVideo({}, nullptr); }).done());
      } else {
        // Queued behind a pending call, so that it finds the main queue stopped.
        stub->queue->async(
            [&] { ended = stub->vorlaneUIStartVideo({}, nullptr) == -1 ? "refused" : "served"; });
      }
    }
    EXPECT_EQ(ended, inGroup ? "not at all" : "refused");
  }
}

}  // namespace
