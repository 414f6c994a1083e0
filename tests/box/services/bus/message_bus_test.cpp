#include <optional>

#include "tests/box/services/bus/PrivateBus.h"
#include "tests/box/services/door/DoorFixture.h"

namespace {

using testing_door::Client;
using testing_door::DoorFixture;
using testing_surroundings::Child;

/// A session bus of the test's own, and a caller on it.
class MessageBus : public DoorFixture {
 protected:
  MessageBus() {
    if (const char* before = getenv("DBUS_SESSION_BUS_ADDRESS")) _before = before;
    setenv("DBUS_SESSION_BUS_ADDRESS", address().c_str(), 1);
    options.bus = box::DoorOptions::Bus::Session;
  }
  ~MessageBus() override {
    sd_bus_close_unref(caller);
    if (_before) {
      setenv("DBUS_SESSION_BUS_ADDRESS", _before->c_str(), 1);
    } else {
      unsetenv("DBUS_SESSION_BUS_ADDRESS");
    }
  }
  std::string address() const { return "unix:path=" + folder + "/bus"; }
  void startDaemon() {
    daemon.emplace(testing_surroundings::busDaemon(address()));
    ASSERT_TRUE(daemon->waitForOutput());
    caller = sd_bus_close_unref(caller);
    ASSERT_GE(sd_bus_open_user(&caller), 0);
  }
  int call(const char* method, sd_bus_message** reply = nullptr) const {
    return sd_bus_call_method(caller, kName, Client::kPath, "quorin.tvvorlane.Receiver1", method,
                              nullptr, reply, "sav", "x", 0);
  }
  /// Calls until the door has its name on the bus.
  testing::AssertionResult isAnswered() const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end)
      if (call("GetProperty") >= 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "nobody has the name";
  }

  static constexpr const char* kName = "quorin.tvvorlane";
  std::optional<Child> daemon;
  sd_bus* caller = nullptr;

 private:
  std::optional<std::string> _before;
};

TEST_F(MessageBus, CarriesCallsAndEventsAsTheSocketDoes) {
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  openDoor();
  ASSERT_TRUE(isAnswered());
  sd_bus_message* reply = nullptr;
  ASSERT_GE(call("GetProperty", &reply), 0);
  std::int32_t status = -1;
  EXPECT_GT(sd_bus_message_read_basic(reply, 'i', &status), 0);
  EXPECT_EQ(status, 0);
  sd_bus_message_unref(reply);

  bool heardEvent = false;
  const auto hear = [](sd_bus_message*, void* flag, sd_bus_error*) {
    *static_cast<bool*>(flag) = true;
    return 0;
  };
  sd_bus_match_signal(caller, nullptr, nullptr, Client::kPath, "quorin.tvvorlane.Receiver1",
                      "Event", hear, &heardEvent);
  post("event");
  while (!heardEvent) {
    if (sd_bus_process(caller, nullptr) != 0) continue;
    ASSERT_GT(sd_bus_wait(caller, 1000ULL * testing_door::kPatienceMilliseconds), 0);
  }
  EXPECT_EQ(client()->getProperty("x").error, "") << "the socket is there too";
}

TEST_F(MessageBus, ComesAndGoesAndTakesNothingWithIt) {
  openDoor();
  const auto peer = client();
  EXPECT_EQ(peer->getProperty("x").error, "");
  EXPECT_EQ(lines("There is no session bus: No such file or directory"), 1);
  for (int round = 1; round <= 2; ++round) {
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    EXPECT_TRUE(isAnswered());
    EXPECT_EQ(lines("The session bus is there"), round);
    daemon.reset();
    post("event");
    EXPECT_EQ(peer->getProperty("x").error, "");
  }
  EXPECT_EQ(lines("There is no session bus"), 1);
}

TEST_F(MessageBus, GivesTheNameToOneBoxAfterTheOther) {
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  ASSERT_GE(sd_bus_request_name(caller, kName, 0), 0);
  openDoor();
  const auto peer = client();
  const auto end = clock.now() + std::chrono::seconds(20);
  while (lines("Another process has the name quorin.tvvorlane") == 0) {
    EXPECT_EQ(peer->getProperty("x").error, "");
    ASSERT_LT(clock.now(), end);
  }
  ASSERT_GE(sd_bus_release_name(caller, kName), 0);
  EXPECT_TRUE(isAnswered());
}

}  // namespace
