// Routes of a real sound server with null sinks.

#include "box/sound/SoundRoutes.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "box/sound/SoundServer.h"
#include "platform/foundation/Value.h"
#include "tests/box/sound/SoundServerProcess.h"

namespace box {
namespace {

using platform::AudioRoute;
using namespace std::chrono_literals;

TEST(RoutesOfSinks, IdentifySpeakersAndTheDefaultRoute) {
  const SoundSink hdmi{"hdmi", "", "", true, false};
  const SoundSink speaker{"kitchen", "", "3", false, true};
  const SoundSink remote{"tunnel.den", "", "", false, false};
  const struct {
    std::vector<SoundSink> sinks;
    std::string text;  // name, type, S selected, D default
  } cases[] = {{{}, ""},
               {{speaker}, "kitchen 3 S;"},
               {{speaker, remote, hdmi}, "kitchen 3 S;tunnel.den 3;hdmi 0 D;"},
               {{{"null", "", "", false, false}, hdmi}, "null 0;hdmi 0 D;"},
               {{{"null", "", "4", false, true}, speaker}, "null 0 SD;kitchen 3 S;"}};
  for (const auto& one : cases) {
    std::string text;
    for (const AudioRoute& route : routesOfSinks(one.sinks, {"tunnel.*", "x"})) {
      text += *route.identifier + " " + std::to_string(route.deviceType);
      text += route.selected || route.isDefault ? " " : "";
      text += route.selected ? "S" : "";
      text += route.isDefault ? "D" : "";
      text += ";";
    }
    EXPECT_EQ(text, one.text);
  }
}

void startWithoutDescriptors() {
  constexpr rlimit kNone{0, 0};
  if (setrlimit(RLIMIT_NOFILE, &kNone) != 0) std::_Exit(2);
  int answers = 0;
  SoundServer server({[&](bool connected) { answers += connected ? 10 : 1; }, nullptr});
  server.start();
  server.fetchSinks([&](const auto& sinks) { answers += sinks ? 10 : 1; });
  server.selectSink("any");
  std::_Exit(answers == 2 ? 0 : 1);
}

TEST(SoundServerTest, IsNotConnectedWithoutDescriptors) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(startWithoutDescriptors(), testing::ExitedWithCode(0), "");
}

class SoundRoutesTest : public testing::Test {
 protected:
  SoundRoutesTest() { mainQueue.bindToCurrentThread(); }
  ~SoundRoutesTest() override {
    routes.stop();
    mainQueue.discard();
  }

  template <typename Condition>
  [[nodiscard]] bool waitFor(const Condition& condition) {
    const auto end = clock.now() + 20s;
    while (!condition() && clock.now() < end) {
      if (!mainQueue.runDue()) mainQueue.waitForWork(end);
    }
    return condition();
  }
  std::vector<AudioRoute> fetch() {
    std::optional<std::vector<AudioRoute>> answer;
    const auto controller = routes.makeController(2);
    controller->fetchAvailableRoutes([&](std::vector<AudioRoute> all) { answer = std::move(all); });
    EXPECT_TRUE(waitFor([&] { return answer.has_value(); }));
    return answer.value_or(std::vector<AudioRoute>());
  }
  /// Fetches repeatedly until the route is selected. Each fetch also flushes earlier requests.
  [[nodiscard]] bool becomesSelected(std::string_view name) {
    for (const auto end = clock.now() + 20s; clock.now() < end;) {
      for (const AudioRoute& route : fetch())
        if (route.selected && route.identifier == name) return true;
    }
    return false;
  }

  SoundServerProcess server;
  platform::SystemClock clock;
  platform::MainQueue mainQueue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  platform::NotificationCenter center;
  int arrivals = 0;
  SoundRoutes routes{mainQueue, center, {.serverDidConnect = [this] { ++arrivals; }}};
};

TEST_F(SoundRoutesTest, FollowTheServer) {
  routes.start();
  EXPECT_TRUE(fetch().empty()) << "no server";
  for (int round = 1; round <= 2; ++round) {
    server.start();
    ASSERT_TRUE(waitFor([&] { return arrivals == round; }));
    const auto all = fetch();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].identifier, "tv");
    EXPECT_TRUE(all[0].isDefault);
    EXPECT_EQ(all[1].deviceType, 3);
    server.kill();
    while (!fetch().empty()) {
    }
  }
}

TEST_F(SoundRoutesTest, SelectSinksAndMoveStreams) {
  server.start();
  routes.start();
  ASSERT_TRUE(waitFor([&] { return arrivals == 1; }));
  routes.makeController(2)->selectRoute({.identifier = "speaker"});
  EXPECT_TRUE(becomesSelected("speaker"));
  // The selection completes even if the controller is released.
  routes.makeController(2)->selectDefaultRoute();
  EXPECT_TRUE(becomesSelected("tv"));
  routes.makeController(2)->selectRoute({.identifier = "nowhere"});
  EXPECT_TRUE(becomesSelected("tv"));
}

TEST_F(SoundRoutesTest, ARemovedSinkInterruptsPlayback) {
  std::vector<int> interruptions;
  const auto token = center.addObserver(
      platform::TVSAudioSessionInterruptionNotification, nullptr, [&](const auto& notification) {
        interruptions.push_back(
            notification.userInfo.number(platform::TVSAudioSessionInterruptionTypeKey)
                ->int32Value());
      });
  server.start();
  routes.start();
  ASSERT_TRUE(waitFor([&] { return arrivals == 1; }));
  // A stream of another process, and one that counts as this process's.
  const auto stream = [](pid_t process) {
    return std::vector<std::string>{"pacat", "--device=tv",
                                    "--property=application.process.id=" + std::to_string(process),
                                    "/dev/zero"};
  };
  const ChildOfTest other(stream(getppid()));
  const ChildOfTest own(stream(getpid()));
  for (std::ptrdiff_t streams = 0; streams < 2;) {
    const std::string list = server.control("list short sink-inputs");
    streams = std::count(list.begin(), list.end(), '\n');
  }
  // After two round trips the connection knows which streams belong to this process.
  EXPECT_EQ(fetch().size(), 2U);
  EXPECT_EQ(fetch().size(), 2U);
  EXPECT_EQ(server.control("unload-module module-null-sink"), "");
  EXPECT_TRUE(waitFor([&] { return !interruptions.empty(); }));
  EXPECT_THAT(interruptions, testing::ElementsAre(1));
}

}  // namespace
}  // namespace box
