#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/Assertion.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/MediaEngine.h"
#include "tests/box/process/ChildProcess.h"
#include "tests/box/services/dbus/Client.h"
#include "tests/sim/ReceiverStub.h"

using testing::HasSubstr;
using testing::Not;

namespace {

/// Registers a receiver delegate, and behaves at launch and shutdown as configured.
class Delegate final : public platform::ApplicationDelegate {
 public:
  enum class Behavior { Plain, HangsAtShutdown, LeavesACallBlocked, FailsAnAssertion };
  explicit Delegate(Behavior behavior) : _behavior(behavior) {}

  bool applicationDidFinishLaunching(const platform::Dictionary&) override {
    TVS_ASSERT_MESSAGE(_behavior != Behavior::FailsAnAssertion, "test assertion");
    _receiver = ReceiverStub::make();
    if (_behavior == Behavior::LeavesACallBlocked) {
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
    while (_behavior == Behavior::HangsAtShutdown) pause();
  }

 private:
  const Behavior _behavior;
  std::shared_ptr<ReceiverStub> _receiver;
};

template <Delegate::Behavior behavior>
platform::Application application() {
  return {std::make_shared<Delegate>(behavior), nullptr, [] {
            return platform::Dictionary{{"fromApplication", true}};
          }};
}

const std::vector<std::string> kLogTest = {"--log-component", "Test"};

TEST(Process, ListensAndExitsOnSIGTERMAndSIGINT) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ChildProcess process(application<Delegate::Behavior::Plain>, kLogTest);
    ASSERT_TRUE(process.waitForLine("D-Bus server listens")) << process.output();
    EXPECT_TRUE(testing_dbus::connectTo(process.socketPath()));
    process.send(signal);
    EXPECT_EQ(process.waitForEnd(), 0) << process.output();
    EXPECT_THAT(process.output(), HasSubstr("will terminate"));
    EXPECT_THAT(process.output(), Not(HasSubstr("did not finish")));
    EXPECT_FALSE(std::filesystem::exists(process.socketPath()));
  }
}

TEST(Process, ReturnsItsStatus) {
  ChildProcess process(application<Delegate::Behavior::Plain>, kLogTest);
  ASSERT_TRUE(process.waitForLine("D-Bus server listens")) << process.output();
  {
    const auto state = testing_dbus::Client(process.socketPath()).callBox("Status").out;
    for (const char* key : {"fromApplication", "window", "nowPlaying", "memory", "uptime"})
      EXPECT_TRUE(state.contains(key)) << key;
    EXPECT_TRUE(state.string("version"));
  }
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
}

TEST(Process, ExitsInTimeIfSomethingHangs) {
  {
    ChildProcess process(application<Delegate::Behavior::HangsAtShutdown>, kLogTest);
    ASSERT_TRUE(process.waitForLine("D-Bus server listens")) << process.output();
    process.send(SIGTERM);
    EXPECT_EQ(process.waitForEnd(), 1) << process.output();
  }
  ChildProcess process(application<Delegate::Behavior::LeavesACallBlocked>, kLogTest);
  ASSERT_TRUE(process.waitForLine("call waits")) << process.output();
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
}

TEST(Process, ExitsImmediatelyOnASecondSignal) {
  ChildProcess process(application<Delegate::Behavior::HangsAtShutdown>, kLogTest);
  ASSERT_TRUE(process.waitForLine("D-Bus server listens")) << process.output();
  process.send(SIGTERM);
  ASSERT_TRUE(process.waitForLine("will terminate")) << process.output();
  process.send(SIGINT);
  EXPECT_EQ(process.waitForEnd(), 128 + SIGINT) << process.output();
  EXPECT_THAT(process.output(), Not(HasSubstr("did not finish")));
}

TEST(Process, RejectsInvalidArguments) {
  ChildProcess process(application<Delegate::Behavior::Plain>, {"--bus", "wrong"});
  EXPECT_EQ(process.waitForEnd(), 2);
  EXPECT_THAT(process.output(), HasSubstr("\"wrong\" is not a valid value for --bus"));
}

TEST(Process, RunsWithoutADBusServer) {
  ChildProcess process(application<Delegate::Behavior::Plain>,
                       {"--socket", "/proc/nowhere/receiver.sock", "--log-component", "Test"});
  ASSERT_TRUE(process.waitForLine("#Error")) << process.output();
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
  EXPECT_THAT(process.output(), Not(HasSubstr("D-Bus server listens")));
}

TEST(Process, LogsACrashReport) {
  for (const auto& [signal, name] : {std::pair(SIGSEGV, "SIGSEGV"), {SIGABRT, "SIGABRT"}}) {
    ChildProcess process(std::vector<std::string>{});
    ASSERT_TRUE(process.waitForLine("D-Bus server listens")) << process.output();
    const std::size_t before = process.output().size();
    process.send(signal);
    EXPECT_EQ(process.waitForEnd(), -signal);
    const std::string report = process.output().substr(before);
    EXPECT_THAT(report, HasSubstr(std::string("Fatal signal: ") + name));
    EXPECT_THAT(report, HasSubstr("D-Bus server listens")) << "the log before the crash";
    EXPECT_THAT(report, HasSubstr("handleFatalSignal")) << "the call stack";
  }
}

TEST(Process, LogsAFailedAssertion) {
  ChildProcess process(application<Delegate::Behavior::FailsAnAssertion>, kLogTest);
  EXPECT_EQ(process.waitForEnd(), -SIGABRT);
  for (const char* part : {"test assertion", "Fatal signal: SIGABRT", "Backtrace:", "box3Box3run"})
    EXPECT_THAT(process.output(), HasSubstr(part));
}

/// The socket of a service manager (sd_notify(3)).
class NotifySocket {
 public:
  NotifySocket() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = "vorlane-test-" + std::to_string(getpid());
    name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    EXPECT_EQ(bind(_socket.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    const timeval limit{20, 0};
    setsockopt(_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
    setenv("WATCHDOG_USEC", "100000", 1);
  }
  ~NotifySocket() {
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
  }
  std::string next() {
    char text[100];
    const ssize_t size = recv(_socket.get(), text, sizeof text, 0);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
  }

 private:
  box::FileDescriptor _socket{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST(Process, NotifiesTheServiceManager) {
  NotifySocket manager;
  ChildProcess process(std::vector<std::string>{});
  for (const char* expected : {"READY=1", "WATCHDOG=1", "WATCHDOG=1"})
    EXPECT_EQ(manager.next(), expected);
  process.send(SIGTERM);
  std::string last = manager.next();
  while (last == "WATCHDOG=1") last = manager.next();
  EXPECT_EQ(last, "STOPPING=1");
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
}

}  // namespace
