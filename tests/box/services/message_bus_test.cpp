#include <signal.h>
#include <sys/wait.h>

#include "tests/box/services/DoorFixture.h"

namespace {

using testing_door::Client;
using testing_door::DoorFixture;

/// A session bus of the test's own.
class MessageBus : public DoorFixture {
 protected:
  MessageBus() {
    int output[2];
    if (pipe(output) != 0) return;
    const std::string address = "--address=unix:path=" + folder + "/bus";
    _daemon = fork();
    if (_daemon == 0) {
      dup2(output[1], STDOUT_FILENO);
      close(STDERR_FILENO);
      execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address",
             address.c_str(), nullptr);
      _exit(127);
    }
    close(output[1]);
    char text[512];
    const ssize_t count = read(output[0], text, sizeof text);
    close(output[0]);
    isRunning = count > 0;
    if (const char* before = getenv("DBUS_SESSION_BUS_ADDRESS")) _before = before;
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder + "/bus").c_str(), 1);
    options.bus = box::DoorOptions::Bus::Session;
  }
  ~MessageBus() override {
    sd_bus_close_unref(caller);
    stopDaemon();
    if (_before) {
      setenv("DBUS_SESSION_BUS_ADDRESS", _before->c_str(), 1);
    } else {
      unsetenv("DBUS_SESSION_BUS_ADDRESS");
    }
  }
  void stopDaemon() {
    if (_daemon <= 0) return;
    kill(_daemon, SIGTERM);
    waitpid(_daemon, nullptr, 0);
    _daemon = 0;
  }
  void processUntil(const bool& done) {
    while (!done) {
      const int processed = sd_bus_process(caller, nullptr);
      ASSERT_GE(processed, 0);
      if (processed == 0) {
        ASSERT_GT(sd_bus_wait(caller, 1000ULL * testing_door::kPatienceMilliseconds), 0);
      }
    }
  }
  /// A connection that has seen the door take its name.
  void openDoorAndWaitForItsName() {
    ASSERT_GE(sd_bus_open_user(&caller), 0);
    const auto seen = [](sd_bus_message*, void* flag, sd_bus_error*) {
      *static_cast<bool*>(flag) = true;
      return 0;
    };
    sd_bus_match_signal(caller, nullptr, "org.freedesktop.DBus", nullptr, "org.freedesktop.DBus",
                        "NameOwnerChanged", seen, &_named);
    sd_bus_add_match(caller, nullptr, "type='signal',interface='quorin.tvvorlane.Receiver1'", seen,
                     &heardEvent);
    _named = false;
    openDoor();
    // Other names come and go on the bus too.
    while (sd_bus_call_method(caller, kName, Client::kPath, "org.freedesktop.DBus.Peer", "Ping",
                              nullptr, nullptr, "") < 0) {
      _named = false;
      processUntil(_named);
      if (HasFatalFailure()) return;
    }
  }

  static constexpr const char* kName = "quorin.tvvorlane";
  bool isRunning = false;
  bool heardEvent = false;
  sd_bus* caller = nullptr;

 private:
  pid_t _daemon = 0;
  bool _named = false;
  std::optional<std::string> _before;
};

TEST_F(MessageBus, CarriesCallsAndEventsAsTheSocketDoes) {
  if (!isRunning) GTEST_SKIP() << "there is no dbus-daemon";
  ASSERT_NO_FATAL_FAILURE(openDoorAndWaitForItsName());
  sd_bus_message* reply = nullptr;
  ASSERT_GE(sd_bus_call_method(caller, kName, Client::kPath, "quorin.tvvorlane.Receiver1",
                               "GetProperty", nullptr, &reply, "sav", "x", 0),
            0);
  std::int32_t status = -1;
  EXPECT_GT(sd_bus_message_read_basic(reply, 'i', &status), 0);
  EXPECT_EQ(status, 0);
  sd_bus_message_unref(reply);

  post("event");
  processUntil(heardEvent);
  EXPECT_EQ(client()->getProperty("x").error, "") << "the socket is there too";
}

TEST_F(MessageBus, ThatEndsTakesNothingWithIt) {
  if (!isRunning) GTEST_SKIP() << "there is no dbus-daemon";
  ASSERT_NO_FATAL_FAILURE(openDoorAndWaitForItsName());
  stopDaemon();
  const auto peer = client();
  EXPECT_EQ(peer->getProperty("x").error, "");
  post("event");
  peer->ready();
  EXPECT_EQ(peer->getProperty("x").error, "");
}

}  // namespace
