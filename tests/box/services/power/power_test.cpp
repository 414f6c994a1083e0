#include "tests/box/services/SurroundingsFixture.h"

namespace {

using testing_surroundings::Child;

class Power : public testing_surroundings::SurroundingsFixture {
 protected:
  std::string written() const {
    std::ifstream file(folder + "/written");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string writes(const std::string& text) const {
    return "printf '" + text + "' >>" + folder + "/written";
  }
};

TEST_F(Power, SleepWaitsForTheStepAndForNoLonger) {
  startLogind();
  std::function<void()> finish;
  int steps = 0;
  sleepStep = [&](const auto& done) {
    ++steps;
    finish = done;
  };
  options.sleepStepLimit = std::chrono::milliseconds(200);
  make();
  // Each is one sleep: the step that is done in time, and the one that never is.
  for (const bool inTime : {true, false}) {
    untilInhibitors("sleep/delay");
    finish = nullptr;
    prepareForSleep(1);
    until("the step", [&] { return finish != nullptr; });
    if (inTime) {
      EXPECT_EQ(lines("takes too long"), 0);
      finish();
    }
    untilInhibitors("");
    prepareForSleep(0);
  }
  untilInhibitors("sleep/delay");
  EXPECT_EQ(steps, 2);
  EXPECT_EQ(lines("takes too long"), 1);
  EXPECT_EQ(lines("The device is awake again"), 2);
}

TEST_F(Power, HoldsTheDeviceOffWhileThatIsWanted) {
  options.pauseLimit = std::chrono::milliseconds(50);
  startLogind();
  make();
  auto& power = surroundings->powerManager();
  std::uint32_t one = 0;
  std::uint32_t other = 0;
  EXPECT_EQ(power.createAssertion({}, &one), 0U);
  EXPECT_EQ(power.createAssertion({}, &other), 0U);
  EXPECT_TRUE(one != 0 && other != 0 && one != other);
  untilInhibitors("idle/block sleep/block sleep/delay");
  power.releaseAssertion(one);
  power.releaseAssertion(one);
  // Asked for while logind takes none, it is there after the sleep.
  prepareForSleep(1);
  untilLogged("going to sleep");
  power.releaseAssertion(other);
  untilInhibitors("");
  EXPECT_EQ(power.createAssertion({}, &one), 0U);
  prepareForSleep(0);
  untilInhibitors("idle/block sleep/block sleep/delay");
  power.releaseAssertion(one);
  untilInhibitors("sleep/delay");
  // What plays.
  surroundings->systemService().setVorlaneSessionActive(true);
  untilInhibitors("idle/block sleep/delay");
  // logind dies, and comes back.
  logind.reset();
  untilLogged("There is no logind");
  startLogind();
  untilInhibitors("idle/block sleep/delay");
  EXPECT_EQ(lines("logind is there"), 1);
  surroundings->systemService().setVorlaneSessionActive(false);
  untilInhibitors("sleep/delay");
}

TEST_F(Power, GoesOnWhereLogindRefuses) {
  startLogind();
  ASSERT_GE(sd_bus_call_method(
                client, "org.freedesktop.login1", "/org/freedesktop/login1",
                "org.freedesktop.DBus.Mock", "AddMethod", nullptr, nullptr, "sssss",
                "org.freedesktop.login1.Manager", "Inhibit", "ssss", "h",
                "raise dbus.exceptions.DBusException('not you', name='org.example.Refused')"),
            0);
  make();
  untilLogged("logind refuses to delay sleep: not you");
  surroundings->systemService().setVorlaneSessionActive(true);
  untilLogged("logind refuses to block idle: not you");
  EXPECT_EQ(lines("logind"), 2);
}

TEST_F(Power, TellsLogindThatSomebodyIsThere) {
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
  surroundings->systemService().wakeSystem(0);
  until("it is told", [&] {
    return run(mock + "/session/auto org.freedesktop.DBus.Mock GetMethodCalls s SetIdleHint")
        .ends_with(" 1 b false");
  });
}

TEST_F(Power, StaysAwakeForWhatPlaysAndForAShortPause) {
  platform::MainQueue& queue = mainQueue;
  std::vector<std::pair<bool, bool>> told;
  box::StayAwake awake(queue, std::chrono::milliseconds(30),
                       [&](const auto& wish) { told.emplace_back(wish.device, wish.screen); });
  awake.setPresenting(true);
  EXPECT_TRUE(told.empty()) << "nothing plays";
  awake.setSessionActive(true);
  awake.setPresenting(false);
  awake.setPresenting(true);
  awake.setPaused(true);
  awake.setPaused(false);
  awake.setPaused(true);
  EXPECT_EQ(told, (std::vector<std::pair<bool, bool>>{{true, true}, {true, false}, {true, true}}));
  told.clear();
  until("it has been paused for long", [&] { return !told.empty(); });
  awake.setPaused(false);
  awake.setSessionActive(false);
  EXPECT_EQ(told,
            (std::vector<std::pair<bool, bool>>{{false, false}, {true, true}, {false, false}}));
}

TEST_F(Power, KeepsTheScreenSaverAwayAndWakesTheDisplay) {
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
  surroundings->setPresenting(true);
  surroundings->systemService().setVorlaneSessionActive(true);
  // It comes when something plays already.
  const Child saver({"/usr/bin/python3", "-c", script}, "");
  ASSERT_TRUE(saver.waitForOutput());
  until("kept away", [&] { return written() == "I"; });
  surroundings->setPresenting(false);
  until("let go", [&] { return written() == "IU7"; });
  surroundings->systemService().wakeSystem(0);
  until("woken", [&] { return written() == "IU7A"; });
  for (int count = 0; count < 100; ++count) surroundings->systemService().triggerUserActivity();
  surroundings->setPresenting(true);
  until("once for many reports", [&] { return written() == "IU7AAI"; });
}

TEST_F(Power, RunsTheAdministratorsCommands) {
  options.onActive = writes("a");
  options.onIdle = writes("i") + "; exit 3";
  options.idleDelay = std::chrono::milliseconds(30);
  make();
  auto& service = surroundings->systemService();
  const auto begin = [&] {
    service.wakeSystem(0);
    service.setVorlaneSessionActive(true);
  };
  begin();
  until("on", [&] { return written() == "a"; });
  // The next item of the same sender.
  service.setVorlaneSessionActive(false);
  begin();
  service.setVorlaneSessionActive(false);
  until("off", [&] { return written() == "ai"; });
  untilLogged("ends with status 3");
  begin();
  until("on again", [&] { return written() == "aia"; });
}

TEST_F(Power, RunsTheCommandForIdleWhenTheBoxEnds) {
  options.onActive = writes("a");
  options.onIdle = writes("i");
  options.idleDelay = std::chrono::hours(1);
  make();
  surroundings->systemService().wakeSystem(0);
  surroundings->beginEnd();
  surroundings->stop(std::chrono::seconds(20));
  EXPECT_EQ(written(), "ai");
}

TEST_F(Power, EndsACommandThatHangsAndRunsTheLastOneThatWaits) {
  options.onActive = writes("a") + "; while :; do sleep 100; done";
  options.onIdle = writes("i");
  options.idleDelay = {};
  options.commandLimit = std::chrono::milliseconds(300);
  make();
  auto& service = surroundings->systemService();
  service.wakeSystem(0);
  until("it runs", [&] { return written() == "a"; });
  service.setVorlaneSessionActive(false);
  untilLogged("takes too long and is ended");
  until("the next one", [&] { return written() == "ai"; });
}

}  // namespace
