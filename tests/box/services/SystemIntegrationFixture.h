#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <systemd/sd-bus.h>

#include "box/services/SystemIntegration.h"
#include "box/services/power/SleepPolicy.h"
#include "platform/foundation/log/TVSLogger.h"
#include "sim/LogRecorder.h"
#include "tests/box/services/bus/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"

namespace testing_system_integration {

/// A SystemIntegration with two private buses. The test's thread is the main thread.
class SystemIntegrationFixture : public ::testing::Test {
 protected:
  SystemIntegrationFixture() {
    options.runtimeFolder = folder + "/run";
    options.sessionBus = address("session");
    options.systemBus = address("system");
    TVSLogger::initialize("test", {TVSSystemLog});
    TVSLogger::addSink(log);
    mainQueue.bindToCurrentThread();
  }
  ~SystemIntegrationFixture() override {
    integration.reset();
    sd_bus_close_unref(client);
    logind.reset();
    session.reset();
    system.reset();
    TVSLogger::removeSink(log);
  }

  std::string address(const std::string& bus) const { return "unix:path=" + folder + "/" + bus; }
  void startBus(std::unique_ptr<Child>& daemon, const std::string& bus) {
    daemon.reset();
    daemon = std::make_unique<Child>(busDaemon(address(bus)));
    ASSERT_TRUE(daemon->waitForOutput());
  }
  void startSession() { startBus(session, "session"); }
  void startLogind() {
    if (!system) startBus(system, "system");
    logind = std::make_unique<Child>(
        std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock", "--template", "logind"},
        address("system"));
    connect("system");
    until("the mock is there", [&] { return !inhibitors().starts_with("error"); });
  }
  /// Connects the test's own client.
  void connect(const std::string& bus) {
    sd_bus_close_unref(client);
    client = nullptr;
    ASSERT_GE(sd_bus_new(&client), 0);
    sd_bus_set_address(client, address(bus).c_str());
    sd_bus_set_bus_client(client, 1);
    ASSERT_GE(sd_bus_start(client), 0);
  }
  void make() {
    integration =
        std::make_unique<box::SystemIntegration>(mainQueue, clock, options, sleepPreparation);
    integration->start();
  }

  /// Runs the main queue until `holds` returns true, or fails after a timeout.
  void until(const char* what, const std::function<bool()>& holds) {
    const auto end = clock.now() + std::chrono::seconds(20);
    while (!holds()) {
      mainQueue.runDue();
      if (clock.now() > end) {
        FAIL() << "timed out waiting for: " << what;
        return;
      }
      mainQueue.waitForWork(clock.now() + std::chrono::milliseconds(5));
    }
  }
  void untilLogged(const std::string& text, long count = 1) {
    until(text.c_str(), [&] { return lines(text) >= count; });
  }
  long lines(const std::string& text) const {
    const auto all = log->lines();
    return std::count_if(all.begin(), all.end(), [&](const auto& line) {
      return line.text.find(text) != std::string::npos;
    });
  }

  /// Returns the inhibitors that logind has granted as `what/mode`, sorted and separated by blanks.
  std::string inhibitors() {
    sd_bus_message* reply = nullptr;
    if (sd_bus_call_method(client, "org.freedesktop.login1", "/org/freedesktop/login1",
                           "org.freedesktop.login1.Manager", "ListInhibitors", nullptr, &reply,
                           "") < 0) {
      return "error";
    }
    std::vector<std::string> held;
    const char* text[4] = {};
    sd_bus_message_enter_container(reply, 'a', "(ssssuu)");
    while (sd_bus_message_read(reply, "(ssssuu)", &text[0], &text[1], &text[2], &text[3], nullptr,
                               nullptr) > 0) {
      held.push_back(std::string(text[0]) + "/" + text[3]);
    }
    sd_bus_message_unref(reply);
    std::sort(held.begin(), held.end());
    std::string joined;
    for (const auto& one : held) joined += (joined.empty() ? "" : " ") + one;
    return joined;
  }
  void untilInhibitors(const std::string& expected) {
    until(expected.c_str(), [&] { return inhibitors() == expected; });
  }
  void prepareForSleep(int begins) {
    EXPECT_GE(sd_bus_call_method(client, "org.freedesktop.login1", "/org/freedesktop/login1",
                                 "org.freedesktop.DBus.Mock", "EmitSignal", nullptr, nullptr,
                                 "sssav", "org.freedesktop.login1.Manager", "PrepareForSleep", "b",
                                 1, "b", begins),
              0);
  }

  /// Returns the output of a command without trailing newlines.
  std::string run(const std::string& command) const {
    return outputOf("DBUS_SESSION_BUS_ADDRESS='" + address("session") + "' " + command);
  }

  const testing_support::TemporaryFolder _temporary;
  const std::string& folder = _temporary.path();
  box::SystemIntegrationOptions options;
  box::SystemIntegration::SleepPreparation sleepPreparation = [](const auto& done) { done(); };
  std::shared_ptr<sim::LogRecorder> log = std::make_shared<sim::LogRecorder>();
  platform::SystemClock clock;
  platform::MainQueue mainQueue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  std::unique_ptr<Child> session;
  std::unique_ptr<Child> system;
  std::unique_ptr<Child> logind;
  std::unique_ptr<box::SystemIntegration> integration;
  sd_bus* client = nullptr;
};

}  // namespace testing_system_integration
