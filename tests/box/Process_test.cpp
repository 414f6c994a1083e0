#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "platform/foundation/TVSLogger.h"
#include "platform/media/MediaEngine.h"
#include "tests/box/ChildProcess.h"
#include "tests/box/services/Client.h"
#include "tests/sim/ReceiverStub.h"

using testing::HasSubstr;
using testing::Not;

namespace {

/// Registers a receiver delegate, and does at its launch and its end what it was told.
class Delegate final : public platform::ApplicationDelegate {
 public:
  enum class Way { Plain, HangsAtTheEnd, LeavesACallWaiting };
  explicit Delegate(Way way) : _way(way) {}

  bool applicationDidFinishLaunching(const platform::Dictionary&) override {
    _receiver = ReceiverStub::make();
    if (_way == Way::LeavesACallWaiting) {
      _receiver->setBody([](platform::WaitGroup& group) {
        group.enter();
        TVSLogNotice("Test", "call waits");
      });
      _receiver->queue->async(
          [receiver = _receiver.get()] { receiver->vorlaneUIStartVideo({}, nullptr); });
    }
    return true;
  }

  void applicationWillTerminate() override {
    TVSLogNotice("Test", "will terminate");
    while (_way == Way::HangsAtTheEnd) pause();
  }

 private:
  const Way _way;
  std::shared_ptr<ReceiverStub> _receiver;
};

template <Delegate::Way way>
platform::Application application() {
  return {std::make_shared<Delegate>(way), nullptr, [] {
            return platform::Dictionary{{"fromApplication", true}};
          }};
}

const std::vector<std::string> kLogTest = {"--log-component", "Test"};

TEST(Process, OpensItsDoorAndEndsOnEitherSignal) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ChildProcess process(application<Delegate::Way::Plain>, kLogTest);
    ASSERT_TRUE(process.waitForLine("is open")) << process.output();
    EXPECT_TRUE(testing_door::connectTo(process.socketPath()));
    process.send(signal);
    EXPECT_EQ(process.waitForEnd(), 0) << process.output();
    EXPECT_THAT(process.output(), HasSubstr("will terminate"));
    EXPECT_THAT(process.output(), Not(HasSubstr("left as")));
    EXPECT_FALSE(std::filesystem::exists(process.socketPath()));
  }
}

TEST(Process, TellsItsState) {
  ChildProcess process(application<Delegate::Way::Plain>, kLogTest);
  ASSERT_TRUE(process.waitForLine("is open")) << process.output();
  {
    const auto state = testing_door::Client(process.socketPath()).callBox("Status").out;
    for (const char* key : {"fromApplication", "window", "nowPlaying", "memory", "uptime"})
      EXPECT_TRUE(state.contains(key)) << key;
    EXPECT_TRUE(state.string("version"));
  }
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
}

TEST(Process, EndsInTimeWhateverHangs) {
  {
    ChildProcess process(application<Delegate::Way::HangsAtTheEnd>, kLogTest);
    ASSERT_TRUE(process.waitForLine("is open")) << process.output();
    process.send(SIGTERM);
    EXPECT_EQ(process.waitForEnd(), 1) << process.output();
  }
  ChildProcess process(application<Delegate::Way::LeavesACallWaiting>, kLogTest);
  ASSERT_TRUE(process.waitForLine("call waits")) << process.output();
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
}

TEST(Process, SecondSignalEndsItAtOnce) {
  ChildProcess process(application<Delegate::Way::HangsAtTheEnd>, kLogTest);
  ASSERT_TRUE(process.waitForLine("is open")) << process.output();
  process.send(SIGTERM);
  ASSERT_TRUE(process.waitForLine("will terminate")) << process.output();
  process.send(SIGINT);
  EXPECT_EQ(process.waitForEnd(), 128 + SIGINT) << process.output();
  EXPECT_THAT(process.output(), Not(HasSubstr("left as")));
}

TEST(Process, RefusesWhatItDoesNotUnderstand) {
  ChildProcess process(application<Delegate::Way::Plain>, {"--bus", "wrong"});
  EXPECT_EQ(process.waitForEnd(), 2);
  EXPECT_THAT(process.output(), HasSubstr("\"wrong\" is no value for --bus"));
}

TEST(Process, RunsWithoutADoorWhereItCannotHaveOne) {
  ChildProcess process(application<Delegate::Way::Plain>,
                       {"--socket", "/proc/nowhere/receiver.sock", "--log-component", "Test"});
  ASSERT_TRUE(process.waitForLine("#Error")) << process.output();
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
  EXPECT_THAT(process.output(), Not(HasSubstr("is open")));
}

}  // namespace
