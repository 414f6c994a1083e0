#include <optional>

#include "tests/box/services/bus/PrivateBus.h"
#include "tests/box/services/dbus/DBusServerFixture.h"

namespace {

using testing_dbus::Client;
using testing_dbus::DBusServerFixture;
using testing_system_integration::Child;

/// A server with a private session bus, and a client of that bus.
class MessageBus : public DBusServerFixture {
 protected:
  MessageBus() {
    if (const char* before = getenv("DBUS_SESSION_BUS_ADDRESS")) _before = before;
    setenv("DBUS_SESSION_BUS_ADDRESS", address().c_str(), 1);
    options.bus = box::DBusServerOptions::Bus::Session;
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
    daemon.emplace(testing_system_integration::busDaemon(address()));
    ASSERT_TRUE(daemon->waitForOutput());
    caller = sd_bus_close_unref(caller);
    ASSERT_GE(sd_bus_open_user(&caller), 0);
  }
  int call(const char* method, sd_bus_message** reply = nullptr) const {
    return sd_bus_call_method(caller, kName, Client::kPath, "quorin.tvvorlane.Receiver1", method,
                              nullptr, reply, "sav", "x", 0);
  }
  /// Calls until the server owns its name.
  testing::AssertionResult hasOwner() const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end)
      if (call("GetProperty") >= 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "the name has no owner";
  }

  static constexpr const char* kName = "quorin.tvvorlane";
  std::optional<Child> daemon;
  sd_bus* caller = nullptr;

 private:
  std::optional<std::string> _before;
};

TEST_F(MessageBus, CarriesCallsAndEvents) {
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  openServer();
  ASSERT_TRUE(hasOwner());
  sd_bus_message* reply = nullptr;
  ASSERT_GE(call("GetProperty", &reply), 0);
  std::int32_t status = -1;
  EXPECT_GT(sd_bus_message_read_basic(reply, 'i', &status), 0);
  EXPECT_EQ(status, 0);
  sd_bus_message_unref(reply);

  bool receivedEvent = false;
  const auto receive = [](sd_bus_message*, void* flag, sd_bus_error*) {
    *static_cast<bool*>(flag) = true;
    return 0;
  };
  sd_bus_match_signal(caller, nullptr, nullptr, Client::kPath, "quorin.tvvorlane.Receiver1",
                      "Event", receive, &receivedEvent);
  post("event");
  while (!receivedEvent) {
    if (sd_bus_process(caller, nullptr) != 0) continue;
    ASSERT_GT(sd_bus_wait(caller, 1000ULL * testing_dbus::kPatienceMilliseconds), 0);
  }
  EXPECT_EQ(client()->getProperty("x").error, "") << "the socket works too";
}

TEST_F(MessageBus, MayEndAndReturn) {
  openServer();
  const auto peer = client();
  EXPECT_EQ(peer->getProperty("x").error, "");
  EXPECT_EQ(lines("The session bus is not available: No such file or directory"), 1);
  for (int round = 1; round <= 2; ++round) {
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    EXPECT_TRUE(hasOwner());
    EXPECT_EQ(lines("Connected to the session bus"), round);
    daemon.reset();
    post("event");
    EXPECT_EQ(peer->getProperty("x").error, "");
  }
  EXPECT_EQ(lines("The session bus is not available"), 1);
}

TEST_F(MessageBus, QueuesForTheName) {
  ASSERT_NO_FATAL_FAILURE(startDaemon());
  ASSERT_GE(sd_bus_request_name(caller, kName, 0), 0);
  openServer();
  const auto peer = client();
  const auto end = clock.now() + std::chrono::seconds(20);
  while (lines("Another process owns the name quorin.tvvorlane") == 0) {
    EXPECT_EQ(peer->getProperty("x").error, "");
    ASSERT_LT(clock.now(), end);
  }
  ASSERT_GE(sd_bus_release_name(caller, kName), 0);
  EXPECT_TRUE(hasOwner());
}

}  // namespace
