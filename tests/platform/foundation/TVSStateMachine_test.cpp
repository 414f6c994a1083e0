#include "platform/foundation/TVSStateMachine.h"

#include <thread>

#include <gmock/gmock.h>

#include "sim/VirtualClock.h"
#include "tests/platform/foundation/Support.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct StateMachineTest : testing::Test {
  LogCapture log{{"Doors"}};
  sim::VirtualClock clock;
  MainQueue main{clock, std::make_shared<ConditionWaiter>(clock, false)};
  std::shared_ptr<TVSStateMachine> machine =
      std::make_shared<TVSStateMachine>(main, "Door", "Closed", 0);
  std::string trace;

  StateMachineTest() {
    main.bindToCurrentThread();
    machine->setLogComponent("Doors");
  }
  /// Registers a handler that records the event and "n" of the user info, then runs `action`.
  void on(const std::string& event, const std::string& from, const std::string& to,
          std::function<void()> action = {}) {
    machine->registerHandler(event, from, [=, this](const TVSStateMachine::Event& posted) {
      trace += "[" + posted.name + posted.userInfo.get("n").description();
      if (action) action();
      trace += "]";
      return to;
    });
  }
};

TEST_F(StateMachineTest, DropsEventsUntilItAcceptsThem) {
  on("Open", "Closed", "Open");
  machine->postEvent("Open");
  EXPECT_EQ(machine->currentState(), "Closed");
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("#Notice #Doors : State machine Door")));
  machine->setShouldAcceptEvents(true);
  machine->postEvent("Open", {}, {{"n", 7}});
  EXPECT_EQ(machine->currentState(), "Open");
  EXPECT_EQ(trace, "[Open7]");
}

TEST_F(StateMachineTest, LogsAndIgnoresAnEventWithoutHandler) {
  machine->setShouldAcceptEvents(true);
  machine->postEvent("Knock");
  EXPECT_EQ(machine->currentState(), "Closed");
  EXPECT_THAT(log.lines(),
              ElementsAre(testing::AllOf(HasSubstr("#Notice #Doors : "), HasSubstr("event Knock"),
                                         HasSubstr("state Closed "))));
}

TEST_F(StateMachineTest, EventsPostedByAHandlerFollowItsTransition) {
  on("Open", "Closed", "Open", [this] {
    machine->afterTransition([this] {
      trace += "(after in " + machine->currentState() + ")";
      machine->postEvent("Lock");
      machine->afterTransition([this] { trace += "(at once)"; });
    });
    machine->postEvent("Close");
    trace += machine->currentState();
  });
  on("Close", "Open", "Closed");
  on("Lock", "Closed", "Locked");
  machine->setShouldAcceptEvents(true);
  machine->postEvent("Open");
  EXPECT_EQ(trace, "[Open(null)Closed](after in Open)(at once)[Close(null)][Lock(null)]");
  EXPECT_EQ(machine->currentState(), "Locked");
  machine->afterTransition([this] { trace = "idle"; });
  EXPECT_EQ(trace, "idle");
}

TEST_F(StateMachineTest, EventsFromOtherThreadsRunOnTheMainThread) {
  on("Open", "Closed", "Open");
  machine->setShouldAcceptEvents(true);
  std::thread([this] { machine->postEvent("Open", {}, {{"n", 1}}); }).join();
  EXPECT_EQ(machine->currentState(), "Closed");
  main.runDue();
  EXPECT_EQ(trace, "[Open1]");

  std::thread([this] { machine->postEvent("Close"); }).join();
  machine.reset();
  main.runDue();  // must not use the destroyed machine
}

TEST_F(StateMachineTest, HandlersMayDestroyTheMachineOrThrow) {
  on("Open", "Closed", "Open", [this] { machine.reset(); });
  machine->setShouldAcceptEvents(true);
  machine->postEvent("Open");
  EXPECT_EQ(trace, "[Open(null)]");

  const sim::AssertionsThrow assertions;
  machine = std::make_shared<TVSStateMachine>(main, "Door", "Closed", 0);
  on("Open", "Closed", "Open", [] { TVS_ASSERT(false); });
  on("Kick", "Closed", "Broken");
  EXPECT_THROW(on("Kick", "Closed", "Open"), sim::AssertionError);
  machine->setShouldAcceptEvents(true);
  EXPECT_THROW(machine->postEvent("Open"), sim::AssertionError);
  machine->postEvent("Kick");
  EXPECT_EQ(machine->currentState(), "Broken");
}

}  // namespace
}  // namespace platform
