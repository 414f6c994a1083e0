#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "platform/foundation/TVSLogger.h"
#include "platform/media/MediaEngine.h"
#include "platform/ui/ViewServiceHost.h"
#include "tests/box/ChildProcess.h"
#include "tests/sim/ReceiverStub.h"

using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

namespace {

class Root final : public platform::ViewServiceViewController {
 public:
  void viewServiceBeginPresentationWithOptions(const platform::Dictionary&) override {
    TVSLogNotice("Test", "presentation began");
  }
  void viewServiceEndPresentationWithOptions(const platform::Dictionary&,
                                             std::function<void()> completion) override {
    TVSLogNotice("Test", "presentation ended");
    completion();
  }
};

/// Registers a receiver delegate, and does at its launch and its end what it was told.
class Delegate final : public platform::ApplicationDelegate {
 public:
  enum class Way { Plain, Presents, HangsAtTheEnd, LeavesACallWaiting };
  explicit Delegate(Way way) : _way(way) {}

  bool applicationDidFinishLaunching(const platform::Dictionary&) override {
    _receiver = ReceiverStub::make();
    auto& current = platform::Platform::current();
    if (_way == Way::Presents) {
      current.viewServiceHost().requestPresentation(
          [](bool success, const std::optional<platform::Error>&) {
            if (!success) TVSLogNotice("Test", "presentation failed");
          });
    }
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
  return {std::make_shared<Delegate>(way), [] { return std::make_shared<Root>(); },
          [] {
            return platform::Dictionary{{"fromApplication", true}};
          }};
}

const std::vector<std::string> kLogTest = {"--log-component", "Test"};

bool canConnect(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool connected =
      connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(descriptor);
  return connected;
}

TEST(Process, OpensItsDoorAndEndsOnEitherSignal) {
  for (const int signal : {SIGTERM, SIGINT}) {
    ChildProcess process(application<Delegate::Way::Plain>, kLogTest);
    ASSERT_TRUE(process.waitForLine("is open")) << process.output();
    EXPECT_TRUE(canConnect(process.socketPath()));
    process.send(signal);
    EXPECT_EQ(process.waitForEnd(), 0) << process.output();
    EXPECT_THAT(process.output(), HasSubstr("will terminate"));
    EXPECT_THAT(process.output(), Not(HasSubstr("left as")));
    EXPECT_FALSE(std::filesystem::exists(process.socketPath()));
  }
}

/// The state that the process tells at its own door: each key with the type of its value.
std::map<std::string, std::string> statusKeys(const std::string& path) {
  std::map<std::string, std::string> keys;
  sd_bus* bus = nullptr;
  sd_bus_message* reply = nullptr;
  sd_bus_new(&bus);
  sd_bus_set_address(bus, ("unix:path=" + path).c_str());
  sd_bus_set_bus_client(bus, 0);
  if (sd_bus_start(bus) >= 0 &&
      sd_bus_call_method(bus, nullptr, "/quorin/tvvorlane/Receiver", "quorin.tvvorlane.Box1",
                         "Status", nullptr, &reply, "") >= 0) {
    sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "{sv}");
    while (sd_bus_message_enter_container(reply, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
      const char* key = nullptr;
      const char* type = nullptr;
      sd_bus_message_read_basic(reply, SD_BUS_TYPE_STRING, &key);
      sd_bus_message_peek_type(reply, nullptr, &type);
      keys.emplace(key, type);
      sd_bus_message_skip(reply, "v");
      sd_bus_message_exit_container(reply);
    }
  }
  sd_bus_message_unref(reply);
  sd_bus_flush_close_unref(bus);
  return keys;
}

TEST(Process, TellsItsState) {
  ChildProcess process(application<Delegate::Way::Plain>, kLogTest);
  ASSERT_TRUE(process.waitForLine("is open")) << process.output();
  const auto keys = statusKeys(process.socketPath());
  EXPECT_THAT(keys, IsSupersetOf(std::map<std::string, std::string>{{"fromApplication", "b"},
                                                                    {"window", "a{sv}"},
                                                                    {"nowPlaying", "a{sv}"},
                                                                    {"memory", "a{sv}"},
                                                                    {"uptime", "d"},
                                                                    {"version", "s"}}));
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
}

TEST(Process, EndsWhilePresenting) {
  ChildProcess process(application<Delegate::Way::Presents>, kLogTest);
  ASSERT_TRUE(process.waitForLine("presentation began")) << process.output();
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
  EXPECT_THAT(process.output(), HasSubstr("presentation ended"));
  EXPECT_THAT(process.output(), Not(HasSubstr("left as")));
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
