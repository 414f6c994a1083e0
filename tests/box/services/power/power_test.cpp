#include "tests/box/services/SystemIntegrationFixture.h"

namespace {

using testing_system_integration::Child;

class Power : public testing_system_integration::SystemIntegrationFixture {
 protected:
  std::string written() const {
    std::ifstream file(folder + "/written");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string writes(const std::string& text) const {
    return "printf '" + text + "' >>" + folder + "/written";
  }
};

TEST_F(Power, DelaysSleepForThePreparationUpToTheTimeout) {
  startLogind();
  std::function<void()> finish;
  int preparations = 0;
  sleepPreparation = [&](const auto& done) {
    ++preparations;
    finish = done;
  };
  options.sleepPreparationTimeout = std::chrono::milliseconds(200);
  make();
  // The first preparation finishes in time, the second one never.
  for (const bool inTime : {true, false}) {
    untilInhibitors("sleep/delay");
    finish = nullptr;
    prepareForSleep(1);
    until("the preparation", [&] { return finish != nullptr; });
    if (inTime) {
      EXPECT_EQ(lines("timed out"), 0);
      finish();
    }
    untilInhibitors("");
    prepareForSleep(0);
  }
  untilInhibitors("sleep/delay");
  EXPECT_EQ(preparations, 2);
  EXPECT_EQ(lines("timed out"), 1);
  EXPECT_EQ(lines("The device has resumed"), 2);
}

TEST_F(Power, HoldsInhibitorsWhileTheyAreWanted) {
  options.pauseLimit = std::chrono::milliseconds(50);
  startLogind();
  make();
  auto& power = integration->powerManager();
  std::uint32_t one = 0;
  std::uint32_t other = 0;
  EXPECT_EQ(power.createAssertion({}, &one), 0U);
  EXPECT_EQ(power.createAssertion({}, &other), 0U);
  EXPECT_TRUE(one != 0 && other != 0 && one != other);
  untilInhibitors("idle/block sleep/block sleep/delay");
  power.releaseAssertion(one);
  power.releaseAssertion(one);
  // An assertion that is created during sleep takes effect afterwards.
  prepareForSleep(1);
  untilLogged("going to sleep");
  power.releaseAssertion(other);
  untilInhibitors("");
  EXPECT_EQ(power.createAssertion({}, &one), 0U);
  prepareForSleep(0);
  untilInhibitors("idle/block sleep/block sleep/delay");
  power.releaseAssertion(one);
  untilInhibitors("sleep/delay");
  // Active playback.
  integration->systemService().setVorlaneSessionActive(true);
  untilInhibitors("idle/block sleep/delay");
  // logind ends and returns.
  logind.reset();
  untilLogged("logind is not available");
  startLogind();
  untilInhibitors("idle/block sleep/delay");
  EXPECT_EQ(lines("logind is available"), 1);
  integration->systemService().setVorlaneSessionActive(false);
  untilInhibitors("sleep/delay");
}

TEST_F(Power, LogsRefusalsOfLogind) {
  startLogind();
  ASSERT_GE(sd_bus_call_method(
                client, "org.freedesktop.login1", "/org/freedesktop/login1",
                "org.freedesktop.DBus.Mock", "AddMethod", nullptr, nullptr, "sssss",
                "org.freedesktop.login1.Manager", "Inhibit", "ssss", "h",
                "raise dbus.exceptions.DBusException('not you', name='org.example.Refused')"),
            0);
  make();
  untilLogged("logind rejected an inhibitor (delay sleep): not you");
  integration->systemService().setVorlaneSessionActive(true);
  untilLogged("logind rejected an inhibitor (block idle): not you");
  EXPECT_EQ(lines("logind"), 2);
}

TEST_F(Power, ClearsTheIdleHintOfLogind) {
  startLogind();
  const std::string mock = "busctl --address=" + address("system") +
                           " call org.freedesktop.login1 /org/freedesktop/login1";
  const std::string hint = " org.freedesktop.login1.Session 0 1 SetIdleHint b '' ''";
  EXPECT_EQ(run(mock +
                " org.freedesktop.DBus.Mock AddObject 'ssa{sv}a(ssss)'"
                " /org/freedesktop/login1/session/auto" +
                hint),
            "");
  make();
  untilInhibitors("sleep/delay");
  integration->systemService().wakeSystem(0);
  until("SetIdleHint", [&] {
    return run(mock + "/session/auto org.freedesktop.DBus.Mock GetMethodCalls s SetIdleHint")
        .ends_with(" 1 b false");
  });
}

TEST_F(Power, StaysAwakeDuringPlaybackAndAShortPause) {
  platform::MainQueue& queue = mainQueue;
  std::vector<std::pair<bool, bool>> reported;
  box::SleepPolicy awake(queue, std::chrono::milliseconds(30), [&](const auto& inhibitions) {
    reported.emplace_back(inhibitions.device, inhibitions.screen);
  });
  awake.setPresenting(true);
  EXPECT_TRUE(reported.empty()) << "no active session";
  awake.setSessionActive(true);
  awake.setPresenting(false);
  awake.setPresenting(true);
  awake.setPaused(true);
  awake.setPaused(false);
  awake.setPaused(true);
  EXPECT_EQ(reported,
            (std::vector<std::pair<bool, bool>>{{true, true}, {true, false}, {true, true}}));
  reported.clear();
  until("the pause limit", [&] { return !reported.empty(); });
  awake.setPaused(false);
  awake.setSessionActive(false);
  EXPECT_EQ(reported,
            (std::vector<std::pair<bool, bool>>{{false, false}, {true, true}, {false, false}}));
}

TEST_F(Power, InhibitsTheScreenSaverAndWakesTheDisplay) {
  startSession();
  const std::string script = R"(
import dbus, dbus.service, dbus.mainloop.glib
from gi.repository import GLib
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.bus.BusConnection(')" +
                             address("session") + R"(')
class Saver(dbus.service.Object):
    def note(self, text):
        with open(')" + folder +
                             R"(/written', 'a') as file: file.write(text)
    @dbus.service.method('org.freedesktop.ScreenSaver', 'ss', 'u')
    def Inhibit(self, who, why):
        self.note('I')
        return 7
    @dbus.service.method('org.freedesktop.ScreenSaver', 'u', '')
    def UnInhibit(self, cookie): self.note('U%d' % cookie)
    @dbus.service.method('org.freedesktop.ScreenSaver', '', '')
    def SimulateUserActivity(self): self.note('A')
saver = Saver(bus, '/org/freedesktop/ScreenSaver')
name = dbus.service.BusName('org.freedesktop.ScreenSaver', bus)
print('ready', flush=True)
GLib.MainLoop().run()
)";
  make();
  integration->setPresenting(true);
  integration->systemService().setVorlaneSessionActive(true);
  // The screen saver service starts during playback.
  const Child saver({"/usr/bin/python3", "-c", script}, "");
  ASSERT_TRUE(saver.waitForOutput());
  until("Inhibit", [&] { return written() == "I"; });
  integration->setPresenting(false);
  until("UnInhibit", [&] { return written() == "IU7"; });
  integration->systemService().wakeSystem(0);
  until("SimulateUserActivity", [&] { return written() == "IU7A"; });
  for (int count = 0; count < 100; ++count) integration->systemService().triggerUserActivity();
  integration->setPresenting(true);
  until("Inhibit, without more activity", [&] { return written() == "IU7AAI"; });
}

TEST_F(Power, RunsTheConfiguredCommands) {
  options.onActive = writes("a");
  options.onIdle = writes("i") + "; exit 3";
  options.idleDelay = std::chrono::milliseconds(30);
  make();
  auto& service = integration->systemService();
  const auto begin = [&] {
    service.wakeSystem(0);
    service.setVorlaneSessionActive(true);
  };
  begin();
  until("onActive", [&] { return written() == "a"; });
  // The sender continues with another item.
  service.setVorlaneSessionActive(false);
  begin();
  service.setVorlaneSessionActive(false);
  until("onIdle", [&] { return written() == "ai"; });
  untilLogged("exited with status 3");
  begin();
  until("onActive again", [&] { return written() == "aia"; });
}

TEST_F(Power, RunsTheIdleCommandAtShutdown) {
  options.onActive = writes("a");
  options.onIdle = writes("i");
  options.idleDelay = std::chrono::hours(1);
  make();
  integration->systemService().wakeSystem(0);
  integration->beginShutdown();
  integration->stop(std::chrono::seconds(20));
  EXPECT_EQ(written(), "ai");
}

TEST_F(Power, KillsAHungCommandAndRunsTheLastWaitingOne) {
  options.onActive = writes("a") + "; while :; do sleep 100; done";
  options.onIdle = writes("i");
  options.idleDelay = {};
  options.commandTimeout = std::chrono::milliseconds(300);
  make();
  auto& service = integration->systemService();
  service.wakeSystem(0);
  until("onActive", [&] { return written() == "a"; });
  service.setVorlaneSessionActive(false);
  untilLogged("timed out and is killed");
  until("onIdle", [&] { return written() == "ai"; });
}

}  // namespace
